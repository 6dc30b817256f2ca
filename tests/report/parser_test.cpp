#include "client/report/parser.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <span>
#include <sstream>
#include <string>

#include "report_text.h"

namespace orrery::report {
namespace {

/// Writes down what it is handed: "section.property.index=value", odd things in parentheses.
class CNotes : public FactSink {
public:
    void OnFact(const FactView& fact) override
    {
        std::ostringstream note;
        note << fact.line << ':' << Ascii(fact.section) << '.' << Shown(fact.property) << '.'
             << fact.index << '=' << Shown(fact.value) << (fact.isCut ? "~ " : " ");
        text += note.str();
    }
    void OnOddity(Oddity oddity, std::uint64_t line) override
    {
        constexpr const char* kNames[] = {
            "empty",     "mark", "odd",       "nofact", "range",      "novalue",   "cut",
            "continued", "long", "shortened", "cr",     "unfinished", "surrogate", "duplicate"};
        std::ostringstream note;
        note << '(' << kNames[static_cast<int>(oddity)] << ' ' << line << ") ";
        text += note.str();
    }

    std::string text;

private:
    /// Long runs of x as their number.
    static std::string Shown(std::u16string_view text)
    {
        std::ostringstream shown;
        for (std::size_t at = 0; at < text.size(); ++at) {
            const std::size_t run = std::min(text.size(), text.find_first_not_of(u'x', at)) - at;
            if (run > 9)
                shown << '[' << run << ']';
            else
                shown << Ascii(text.substr(at, 1));
            at += run > 9 ? run - 1 : 0;
        }
        return shown.str();
    }
};

std::string Notes(const std::string& bytes, std::size_t blockSize)
{
    CNotes notes;
    CReportParser parser{notes};
    for (std::size_t at = 0; at < bytes.size(); at += blockSize)
        parser.Add(std::as_bytes(
            std::span{bytes}.subspan(at).first(std::min(blockSize, bytes.size() - at))));
    parser.Finish();
    return notes.text;
}

TEST(ReportParser, FindsFactsAndNamesWhatIsOdd)
{
    const std::u16string cut = Filled(u"OS\t0\tName\t", 1023);
    const struct {
        const char* what;
        std::u16string text;
        const char* expected;
    } rows[] = {
        {"nothing", u"", "(empty 0) "},
        {"facts", u"OS\t0\tA\tone two\nBIOS\t12\tB\t2\n", "1:OS.A.0=one two 2:BIOS.B.12=2 "},
        {"an empty property and value", u"ET\t0\t\t\nET\t0\t\t7\n", "1:ET..0= 2:ET..0=7 "},
        {"letters beyond ASCII", u"OS\t0\tA\t\u090A\u0A09\n", "1:OS.A.0=?? "},
        {"a byte-order mark", u"\uFEFFOS\t0\tA\t1\n", "(mark 1) 1:OS.A.0=1 "},
        {"a byte-order mark alone", u"\uFEFF", "(mark 1) (empty 0) "},
        {"tabs in a value", u"OS\t0\tA\t1\t2\t\n", "1:OS.A.0=1\t2\t "},
        {"lines in a value", u"OS\t0\tA\tone\ntwo\tthree\n\nfour 4\t5\t6\nOS\t0\tB\t\n",
         "(continued 2) 1:OS.A.0=one\ntwo\tthree\n\nfour 4\t5\t6 5:OS.B.0= "},
        {"blank lines at the end", u"OS\t0\tA\t1\n\n", "(continued 2) 1:OS.A.0=1\n "},
        {"a section or an index is wrong",
         u"OS\t0\tA\t1\nOS\nOS\t\tA\t1\nO S\t1\tA\t1\nOS\t1x\tA\t1\n\t0\tA\t1\nOS\t-\tA\t1\n",
         "(continued 2) 1:OS.A.0=1\nOS\nOS\t\tA\t1\nO S\t1\tA\t1\nOS\t1x\tA\t1\n\t0\tA\t1"
         "\nOS\t-\tA\t1 "},
        {"absurd indexes",
         u"A\t2147483647\tB\t1\nA\t2147483648\tB\t2\nA\t-1\tB\t3\n"
         u"A\t99999999999999999999999\tB\t4\nA\t007\tB\t5\n",
         "1:A.B.2147483647=1 (range 2) (range 3) (range 4) 5:A.B.7=5 "},
        {"lines before the first fact", u"x\n\nOS\t0\tA\t1\n", "(nofact 1) 3:OS.A.0=1 "},
        {"no fact at all", u"OS\tA\n", "(nofact 1) "},
        {"no value", u"OS\t0\tA\nOS\t1\tB",
         "(novalue 1) 1:OS.A.0= (unfinished 2) (novalue 2) "
         "2:OS.B.1= "},
        {"the end within a line", u"OS\t0\tA\t1\nOS\t0",
         "(continued 2) (unfinished 2) "
         "1:OS.A.0=1\nOS\t0 "},
        {"carriage returns", u"OS\t0\tA\t1\r\nOS\t0\tB\t\r\n",
         "(cr 1) 1:OS.A.0=1 (cr 2) 2:OS.B.0= "},
        {"a cut line", cut + u"ET\t0\t\t12\n", "(cut 1) 1:OS.Name.0=[1013]~ 1:ET..0=12 "},
        {"two cut lines, the second one last", cut + cut,
         "(cut 1) 1:OS.Name.0=[1013]~ (cut 1) 1:OS.Name.0=[1013]~ "},
        {"cut in a value's second line", Filled(u"OS\t0\tA\t1\n2 ", 1023) + u"ET\t0\t\t12\n",
         "(continued 2) (cut 1) 1:OS.A.0=1\n2 [1012]~ 2:ET..0=12 "},
        {"cut in the property", Filled(u"OS\t0\t", 1023) + u"ET\t0\t\t12\n",
         "(cut 1) (novalue 1) 1:OS.[1018].0=~ 1:ET..0=12 "},
        {"the longest line that is not cut", Filled(u"OS\t0\tName\t", 1022) + u"\nET\t0\t\t1\n",
         "1:OS.Name.0=[1012] 2:ET..0=1 "},
        {"a fact across the place of a cut",
         Filled(u"OS\t0\tName\t", 1019) + u"\nDevices\t0\tA\t1\n",
         "1:OS.Name.0=[1009] 2:Devices.A.0=1 "},
        {"a line too long for the library", Filled(u"OS\t0\tName\t", 2000) + u"\nET\t0\t\t1\n",
         "(long 1) 1:OS.Name.0=[1990] 2:ET..0=1 "},
    };
    for (const auto& row : rows)
        for (const std::size_t blockSize : {1, 3, 16384})
            EXPECT_EQ(Notes(Bytes(row.text), blockSize), row.expected)
                << row.what << ", blocks of " << blockSize;
}

}  // namespace
}  // namespace orrery::report
