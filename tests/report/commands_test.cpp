#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "client/command_line.h"
#include "client/utf8.h"
#include "report_text.h"
#include "test_folder.h"

namespace orrery {
namespace {

namespace fs = std::filesystem;

/// A folder with two reports that differ and one file that is no report.
class Commands : public testing::Test {
protected:
    Commands()
    {
        Write("a.tsv", Bytes(u"BIOS\t0\tSerialNumber\tS-1\nBIOS\t0\tVersion\t1\n"));
        Write("b.tsv", Bytes(u"BIOS\t0\tSerialNumber\tS-1\nBIOS\t0\tVersion\t2\n"));
        Write("text.tsv", "This is no report at all, whoever reads it.\n");
    }
    void Write(const std::string& name, const std::string& bytes) { folder_.Write(name, bytes); }

    /// The exit code of the program for these arguments, of which "@name" is a file in the folder; what
    /// it says of an error is in `message_`.
    int Run(std::vector<std::string> arguments)
    {
        ExitCode result = ExitCode::kDone;
        CLI::App app{"", "orreryctl"};
        AddShowCommand(app, &result);
        AddGetCommand(app, &result);
        AddConvertCommand(app, &result);
        AddDiffCommand(app, &result);
        AddRedactCommand(app, &result);
        std::reverse(arguments.begin(), arguments.end());
        for (std::string& argument : arguments)
            if (argument.starts_with('@'))
                argument = folder_.Path(argument.substr(1));
        message_.clear();
        testing::internal::CaptureStdout();
        try {
            RunCommandLine(app, arguments);
        } catch (const CommandError& error) {
            result = error.code();
            message_ = error.what();
        }
        output_ = testing::internal::GetCapturedStdout();
        return static_cast<int>(result);
    }

    const CTestFolder folder_;
    std::string message_, output_;
};

TEST_F(Commands, TellTheirResultByTheExitCodeAndSayWhatToDo)
{
    const struct {
        std::vector<std::string> arguments;
        int expected;
        const char* message;
    } rows[] = {
        {{"diff", "@a.tsv", "@a.tsv"}, 0, ""},
        {{"diff", "@a.tsv", "@b.tsv"}, 1, ""},
        {{"diff", "@a.tsv", "@b.tsv", "--to", "json", "--all"}, 1, ""},
        {{"diff", "@a.tsv", "@none.tsv"}, 2, "there is no such file; check the name"},
        {{"diff", "@text.tsv", "@a.tsv"}, 2, "perhaps text in UTF-8"},
        {{"diff", "@a.tsv", "@folder"}, 2, "it is a folder; give the name of a report in it"},
        {{"diff", "@a.tsv"}, 2, "NEW.tsv is required"},
        {{"diff", "@a.tsv", "@b.tsv", "--to", "csv"}, 2, "{text,json}"},
        {{"show", "@a.tsv", "bios"}, 0, ""},
        {{"show", "@a.tsv", "Bio"}, 2, "no section \"Bio\"; did you mean \"BIOS\"?"},
        {{"get", "@a.tsv", "BIOS.Version"}, 0, ""},
        {{"get", "@a.tsv", "BIOS.Versions"}, 1, ""},
        {{"get", "@a.tsv", "BIOS"}, 2, "give SECTION.PROPERTY"},
        {{"convert", "@a.tsv"}, 2, "--to is required"},
        {{"convert", "@a.tsv", "--to", "xml"}, 2, "xml not in {json,csv,html}"},
        {{"convert", "@a.tsv", "--to", "csv", "-o", "@a.tsv"}, 2, "is the report itself"},
        {{"shwo"}, 2, "\"shwo\" is not known here; did you mean \"show\"?"},
        {{"print", "@a.tsv"}, 2, "\"print\" is not known here\n\"orreryctl\" takes: show, get"},
        {{"convert", "@a.tsv", "--redcat"}, 2, "did you mean \"--redact\"?"},
        {{"diff", "@a.tsv", "@b.tsv", "--reverse"},
         2,
         "takes: --help, OLD.tsv, NEW.tsv, --to, --all"},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(Run(row.arguments), row.expected) << testing::PrintToString(row.arguments);
        EXPECT_NE(message_.find(row.message), std::string::npos) << message_;
    }
}

TEST_F(Commands, ShowAnExampleInTheirHelp)
{
    for (const char* command : {"show", "get", "convert", "diff", "redact"}) {
        EXPECT_EQ(Run({command, "--help"}), 0);
        EXPECT_NE(output_.find(std::string{"\n  orreryctl "} + command), std::string::npos);
    }
}

TEST_F(Commands, WriteAWholeFileOrNone)
{
    const std::string original = folder_.Read("a.tsv");
    const struct {
        std::string input, output;
        int expected;
    } rows[] = {
        {"@a.tsv", "@a.tsv", 2},      {"@a.tsv", "@folder/../a.tsv", 2},
        {"@a.tsv", "@folder", 2},     {"@none.tsv", "@out.tsv", 2},
        {"@text.tsv", "@out.tsv", 2}, {"@a.tsv", "@nowhere/out.tsv", 3},
    };
    for (const auto& [input, output, expected] : rows) {
        EXPECT_EQ(Run({"redact", input, output}), expected) << input << ' ' << output;
        EXPECT_NE(
            message_.find(
                '"' +
                folder_.Path((expected == 2 && input != "@a.tsv" ? input : output).substr(1)) +
                '"'),
            std::string::npos)
            << message_;
        EXPECT_EQ(folder_.Count(), 4U) << output;
    }
    EXPECT_EQ(folder_.Read("a.tsv"), original);

    const auto redacted = Bytes(u"BIOS\t0\tSerialNumber\tserial-1\nBIOS\t0\tVersion\t1\n");
    for (const char* output : {"out.tsv", "b.tsv"}) {  // a new file, and one that was there
        EXPECT_EQ(Run({"redact", "@a.tsv", std::string{"@"} + output}), 0);
        EXPECT_EQ(folder_.Read(output), redacted);
    }
    EXPECT_EQ(folder_.Count(), 5U);
}

#ifdef _WIN32
TEST_F(Commands, WriteToADeviceInAnyFolder)
{
    EXPECT_EQ(Run({"convert", "@a.tsv", "--to", "csv", "-o", "nul"}), 0) << message_;
    EXPECT_EQ(Run({"redact", "@a.tsv", "@NUL"}), 0) << message_;
    EXPECT_EQ(folder_.Count(), 4U);
}
#else
TEST_F(Commands, WriteWhereALinkLeadsAndToDevices)
{
    const std::string link = folder_.Path("link.csv");
    fs::create_symlink(folder_.Path("b.tsv"), link);
    EXPECT_EQ(Run({"convert", "@a.tsv", "--to", "csv", "-o", link}), 0);
    EXPECT_TRUE(fs::is_symlink(link));
    const std::string csv = folder_.Read("b.tsv");
    EXPECT_EQ(csv.substr(0, 7), "machine");

    EXPECT_EQ(Run({"redact", "@a.tsv", "/dev/null"}), 0) << message_;
    EXPECT_EQ(Run({"convert", "@a.tsv", "--to", "csv", "-o", "/dev/full"}), 3);
    EXPECT_NE(message_.find("No space left on device"), std::string::npos) << message_;
    // The test's own standard output is an ordinary file while it is captured.
    EXPECT_EQ(Run({"convert", "@a.tsv", "--to", "csv", "-o", "/dev/stdout"}), 0);
    EXPECT_EQ(output_, csv);
}
#endif

}  // namespace
}  // namespace orrery
