#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <string>
#include <vector>

#include "client/command_line.h"
#include "report_text.h"

namespace orrery {
namespace {

namespace fs = std::filesystem;

/// A folder with two reports that differ and one file that is no report.
class CompareAndRedact : public testing::Test {
protected:
    CompareAndRedact()
    {
        fs::remove_all(folder_);
        fs::create_directories(folder_ / "folder");
        Write("a.tsv", Bytes(u"BIOS\t0\tSerialNumber\tS-1\nBIOS\t0\tVersion\t1\n"));
        Write("b.tsv", Bytes(u"BIOS\t0\tSerialNumber\tS-1\nBIOS\t0\tVersion\t2\n"));
        Write("text.tsv", "This is no report at all, whoever reads it.\n");
    }
    ~CompareAndRedact() override { fs::remove_all(folder_); }

    std::string Path(const std::string& name) const { return (folder_ / name).string(); }
    void Write(const std::string& name, const std::string& bytes) const
    {
        std::ofstream{folder_ / name, std::ios::binary} << bytes;
    }
    std::string Read(const std::string& name) const
    {
        std::ifstream file{folder_ / name, std::ios::binary};
        return {std::istreambuf_iterator<char>{file}, {}};
    }
    /// The exit code of the program for these arguments, with names of files in the folder.
    int Run(const std::string& command, const std::vector<std::string>& files) const
    {
        ExitCode result = ExitCode::kDone;
        CLI::App app{"", "orreryctl"};
        AddDiffCommand(app, &result);
        AddRedactCommand(app, &result);
        std::vector<std::string> reversed;
        for (auto file = files.rbegin(); file != files.rend(); ++file)
            reversed.push_back(file->starts_with("--") || *file == "json" ? *file : Path(*file));
        reversed.push_back(command);
        try {
            RunCommandLine(app, reversed);
        } catch (const CommandError& error) {
            result = error.code();
        }
        return static_cast<int>(result);
    }
    std::size_t CountFiles() const
    {
        return static_cast<std::size_t>(
            std::distance(fs::directory_iterator{folder_}, fs::directory_iterator{}));
    }

private:
    const fs::path folder_ =
        fs::path{testing::TempDir()} / ("orrery diff " + std::to_string(std::random_device{}()));
};

TEST_F(CompareAndRedact, DiffTellsItsResultByTheExitCode)
{
    const struct {
        std::vector<std::string> files;
        int expected;
    } rows[] = {
        {{"a.tsv", "a.tsv"}, 0},
        {{"a.tsv", "b.tsv"}, 1},
        {{"a.tsv", "b.tsv", "--to", "json", "--all"}, 1},
        {{"a.tsv", "none.tsv"}, 2},
        {{"text.tsv", "a.tsv"}, 2},
        {{"a.tsv", "folder"}, 2},
        {{"a.tsv"}, 2},
        {{"a.tsv", "b.tsv", "--to", "a.tsv"}, 2},
    };
    for (const auto& row : rows)
        EXPECT_EQ(Run("diff", row.files), row.expected) << testing::PrintToString(row.files);
}

TEST_F(CompareAndRedact, RedactWritesAWholeFileOrNone)
{
    const std::string original = Read("a.tsv");
    const auto redacted = Bytes(u"BIOS\t0\tSerialNumber\tserial-1\nBIOS\t0\tVersion\t1\n");
    const struct {
        std::string input, output;
        int expected;
    } rows[] = {
        {"a.tsv", "a.tsv", 2},      {"a.tsv", "folder/../a.tsv", 2},
        {"a.tsv", "folder", 2},     {"none.tsv", "out.tsv", 2},
        {"text.tsv", "out.tsv", 2}, {"a.tsv", "nowhere/out.tsv", 3},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(Run("redact", {row.input, row.output}), row.expected)
            << row.input << ' ' << row.output;
        EXPECT_EQ(CountFiles(), 4U) << row.output;
    }
    EXPECT_EQ(Read("a.tsv"), original);

    EXPECT_EQ(Run("redact", {"a.tsv", "out.tsv"}), 0);
    EXPECT_EQ(Read("out.tsv"), redacted);
    EXPECT_EQ(Run("redact", {"a.tsv", "b.tsv"}), 0);  // in place of an earlier file
    EXPECT_EQ(Read("b.tsv"), redacted);
    EXPECT_EQ(CountFiles(), 5U);
}

}  // namespace
}  // namespace orrery
