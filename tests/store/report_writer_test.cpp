#include "store/report_writer.h"

#include <windows.h>

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/unique.h"

namespace orrery {
namespace {

struct Written {
    std::wstring file;
    std::wstring text;
};

Written Write(const CInvMap& map)
{
    Written written;
    WideString text;
    const UniqueStream file{std::tmpfile()};
    WriteReport(nullptr, &map, file.get(), &text);
    written.text = text.view();
    std::rewind(file.get());
    wchar_t unit = 0;
    while (std::fread(&unit, sizeof unit, 1, file.get()) == 1)
        written.file += unit;
    return written;
}

void Insert(CInvMap& map, const wchar_t* key, WideString value)
{
    map.Insert(key, new CHardwareObject{std::move(value)});
}

int debuggerMessages = 0;

LONG CALLBACK CountDebuggerMessages(EXCEPTION_POINTERS* exception)
{
    constexpr DWORD kPrintException = 0x40010006;
    const auto& record = *exception->ExceptionRecord;
    if (record.ExceptionCode != kPrintException)
        return EXCEPTION_CONTINUE_SEARCH;
    if (std::string{reinterpret_cast<const char*>(record.ExceptionInformation[1])} ==
        "Not found key index\n")
        ++debuggerMessages;
    return EXCEPTION_CONTINUE_EXECUTION;
}

TEST(ReportWriter, WritesOneLineAnEntry)
{
    CInvMap map;
    Insert(map, L"BIOS\\AssetTag\\0", L"A-7");
    Insert(map, L"ET\\Network", L"120");
    Insert(map, L"Slot\\Name\\12", L"with\ttab");
    Insert(map, L"Slot\\Empty\\0", L"");
    const auto written = Write(map);
    EXPECT_EQ(
        written.file,
        L"BIOS\t0\tAssetTag\tA-7\nET\t0\t\t120\nSlot\t0\tEmpty\t\nSlot\t12\tName\twith\ttab\n");
    EXPECT_EQ(written.text, written.file);
    EXPECT_EQ(Write(CInvMap{}).file, L"");
}

TEST(ReportWriter, CutsALineAtTheFormattersLimit)
{
    // "S", tab, "0", tab, "P", tab: six units before the value, a line feed after it.
    const struct {
        std::size_t valueUnits, lineUnits;
        bool ends;
    } rows[] = {{1015, 1022, true},
                {1016, 1023, true},
                {1017, 1023, false},
                {1100, 1023, false},
                {100000, 1023, false}};
    for (const auto& row : rows) {
        CInvMap map;
        Insert(map, L"S\\P\\0", std::wstring(row.valueUnits, L'v'));
        Insert(map, L"T\\P\\0", L"next");
        const auto file = Write(map).file;
        EXPECT_EQ(file.size(), row.lineUnits + 11) << row.valueUnits;
        EXPECT_EQ(file.substr(row.lineUnits), L"T\t0\tP\tnext\n") << row.valueUnits;
        EXPECT_EQ(file[row.lineUnits - 1] == L'\n', row.ends) << row.valueUnits;
    }
}

TEST(ReportWriter, TellsTheDebuggerOfKeysWithoutAnIndex)
{
    CInvMap map;
    for (const wchar_t* key : {L"Alone", L"A\\B\\-1", L"A\\B\\-0"})
        Insert(map, key, L"v");
    debuggerMessages = 0;
    void* const handler = AddVectoredExceptionHandler(1, CountDebuggerMessages);
    const auto written = Write(map);
    RemoveVectoredExceptionHandler(handler);
    EXPECT_EQ(written.file, L"A\t0\tB\tv\n");
    EXPECT_EQ(debuggerMessages, 2);
}

TEST(ReportWriter, TakesKeysApart)
{
    const struct {
        const wchar_t *key, *section, *property;
        std::int32_t index, last;
    } rows[] = {
        {L"BIOS\\Version\\0", L"BIOS", L"Version", 0, 12},
        {L"ET\\CompSys", L"ET", L"", 0, 2},
        {L"A\\B\\C\\3", L"A", L"B", 3, 5},
        {L"\\X\\1", L"", L"", 1, 2},
        {L"A\\B\\ +12x", L"A", L"B", 12, 3},
        {L"A\\B\\", L"A", L"B", 0, 3},
        {L"A\\", L"A", L"", 0, 1},
        {L"A\\B\\-1", L"A", L"B", -1, 3},
        {L"None", L"", L"", -1, -1},
        {L"", L"", L"", -1, -1},
    };
    for (const auto& row : rows) {
        WideString section;
        WideString property;
        std::int32_t index = -1;
        const WideString key = row.key;
        EXPECT_EQ(SplitKey(nullptr, key, &section, &property, &index), row.last) << row.key;
        EXPECT_EQ(section, row.section) << row.key;
        EXPECT_EQ(property, row.property) << row.key;
        EXPECT_EQ(index, row.index) << row.key;
        EXPECT_EQ(key, row.key);
    }
}

}  // namespace
}  // namespace orrery
