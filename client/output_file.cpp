#include "client/output_file.h"

#include <array>
#include <cerrno>
#include <cstdio>
#include <fstream>
#include <random>
#include <system_error>

#include "client/exit_codes.h"
#include "client/report/reader.h"

namespace orrery {
namespace {

namespace fs = std::filesystem;

/// The C library's English words for an error, in place of those in the system's code page.
std::string Reason(const std::error_code& error)
{
    return error.default_error_condition().message();
}

[[noreturn]] void FailWrite(const std::string& target, const std::string& reason)
{
    throw CommandError(ExitCode::kReport, '"' + target + "\" cannot be written: " + reason +
                                              "; choose a folder with free space in which you "
                                              "may create files");
}

/// The file itself where the path is a link to it, since a rename would replace the link.
fs::path FollowLinks(const fs::path& path)
{
    std::error_code error;
    const fs::path file = fs::canonical(path, error);
    return error ? path : file;
}

/// A name beside a file that no other program uses.
fs::path TemporaryNameFor(const fs::path& file)
{
    std::random_device random;
    std::array<char, 32> name{};
    std::snprintf(name.data(), name.size(), ".orreryctl.%08x%08x.tmp", random(), random());
    return fs::path{file}.replace_filename(name.data());
}

/// A file that is deleted again unless it was put in place.
class CTemporaryFile {
public:
    explicit CTemporaryFile(fs::path path) : path_(std::move(path)) {}
    ~CTemporaryFile()
    {
        std::error_code ignored;
        if (!path_.empty())
            fs::remove(path_, ignored);
    }
    CTemporaryFile(const CTemporaryFile&) = delete;
    CTemporaryFile& operator=(const CTemporaryFile&) = delete;

    /// @return what went wrong; nothing when all bytes were taken
    std::error_code Write(std::string_view bytes)
    {
        errno = 0;
        std::ofstream stream{path_, std::ios::binary};
        stream.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
        stream.close();
        if (stream)
            return {};
        return {errno != 0 ? errno : EIO, std::generic_category()};
    }
    std::error_code MoveTo(const fs::path& file)
    {
        std::error_code error;
        fs::rename(path_, file, error);
        if (!error)
            path_.clear();
        return error;
    }

private:
    fs::path path_;
};

}  // namespace

void CheckOutputFile(const std::string& target, const fs::path& source)
{
    const fs::path path = report::PathFromUtf8(target);
    std::error_code error;
    const fs::file_status status = fs::status(path, error);
    if (fs::is_directory(status))
        throw CommandError(ExitCode::kInput,
                           '"' + target + "\" is a folder; give the name of a file in it");
    if (fs::exists(status) && !fs::is_regular_file(status))
        throw CommandError(ExitCode::kInput, '"' + target +
                                                 "\" is no ordinary file; leave the option out to "
                                                 "write to standard output");
    if (fs::equivalent(path, source, error))
        throw CommandError(ExitCode::kInput,
                           '"' + target + "\" is the report itself; choose another name");
}

void WriteOutputFile(const std::string& target, std::string_view bytes)
{
    const fs::path file = FollowLinks(report::PathFromUtf8(target));
    CTemporaryFile temporary{TemporaryNameFor(file)};
    if (const auto error = temporary.Write(bytes))
        FailWrite(target, Reason(error));
    if (const auto error = temporary.MoveTo(file))
        FailWrite(target, Reason(error));
}

}  // namespace orrery
