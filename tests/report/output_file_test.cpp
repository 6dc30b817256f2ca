#include "client/output_file.h"

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include <gtest/gtest.h>

#include "client/exit_codes.h"

namespace orrery {
namespace {

namespace fs = std::filesystem;

/// A folder that goes with the test.
class OutputFile : public testing::Test {
protected:
    void SetUp() override
    {
        fs::remove_all(folder_);
        fs::create_directory(folder_);
    }
    void TearDown() override { fs::remove_all(folder_); }

    std::string Path(const char* name) const { return (folder_ / name).string(); }
    static std::string Content(const std::string& path)
    {
        std::ifstream file{path, std::ios::binary};
        return {std::istreambuf_iterator<char>{file}, {}};
    }
    std::size_t Files() const
    {
        return static_cast<std::size_t>(
            std::distance(fs::directory_iterator{folder_}, fs::directory_iterator{}));
    }

    const fs::path folder_ = fs::temp_directory_path() / "orrery_output_file_test";
};

TEST_F(OutputFile, TakesThePlaceOfAnEarlierOne)
{
    WriteOutputFile(Path("a.csv"), "first, and longer");
    WriteOutputFile(Path("a.csv"), "second\r\n");
    EXPECT_EQ(Content(Path("a.csv")), "second\r\n");
    EXPECT_EQ(Files(), 1U);
}

TEST_F(OutputFile, LeavesNothingWhenItFails)
{
    fs::create_directories(folder_ / "full" / "x");
    for (const std::string& path : {Path("full"), Path("no such folder/a.csv")}) {
        try {
            WriteOutputFile(path, "text");
            ADD_FAILURE() << path;
        } catch (const CommandError& error) {
            EXPECT_EQ(error.code(), ExitCode::kReport);
            EXPECT_NE(std::string{error.what()}.find(path), std::string::npos) << error.what();
        }
    }
    EXPECT_EQ(Files(), 1U);
}

TEST_F(OutputFile, IsNeverTheSourceNorAFolder)
{
    const std::string source = Path("report.tsv");
    WriteOutputFile(source, "facts");
    const std::string other = (folder_ / "." / "report.tsv").string();
    for (const std::string& target : {source, other, folder_.string()})
        EXPECT_THROW(CheckOutputFile(target, source), CommandError) << target;
    EXPECT_NO_THROW(CheckOutputFile(Path("new.json"), source));
    EXPECT_EQ(Content(source), "facts");
}

#ifndef _WIN32
TEST_F(OutputFile, IsWrittenWhereALinkLeadsAndNeverInPlaceOfADevice)
{
    const std::string file = Path("file.csv"), link = Path("link.csv");
    WriteOutputFile(file, "old");
    fs::create_symlink(file, link);
    WriteOutputFile(link, "new");
    EXPECT_TRUE(fs::is_symlink(link));
    EXPECT_EQ(Content(file), "new");
    EXPECT_THROW(CheckOutputFile("/dev/null", file), CommandError);
}
#endif

}  // namespace
}  // namespace orrery
