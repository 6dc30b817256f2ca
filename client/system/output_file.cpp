#include "client/system/output_file.h"

#include <array>
#include <cerrno>
#include <cstdio>
#include <fstream>
#include <random>
#include <system_error>

#include "client/system/exit_codes.h"
#include "client/text/utf8.h"

namespace orrery {
namespace {

namespace fs = std::filesystem;

/// The C library's English words for an error, in place of those in the system's code page.
std::string Reason(const std::error_code& error)
{
    return error.default_error_condition().message();
}

[[noreturn]] void FailWrite(const std::string& target, const std::error_code& error)
{
    const std::string start = '"' + target + "\" cannot be written: ";
    if (error == std::errc::no_such_file_or_directory || error == std::errc::not_a_directory)
        throw CommandError(ExitCode::kInput,
                           start + "its folder does not exist; create it or choose another one");
    throw CommandError(ExitCode::kReport, start + Reason(error) +
                                              "; choose a folder with free space in which you "
                                              "may create files");
}

/// Whether it is known that there is no such folder.
bool IsMissing(const fs::path& folder)
{
    // The C library, which answers here, takes the "?" of a path without a limit for a wildcard.
    if (folder.empty() || folder.u8string().starts_with(u8R"(\\?\)"))
        return false;
    std::error_code error;
    const fs::file_status status = fs::status(folder, error);
    return fs::status_known(status) && !fs::is_directory(status);
}

/// Whether the path stands for a device, a pipe or what the shell has put behind standard output.
bool IsDirect(const fs::path& path)
{
    std::error_code error;
    const fs::file_status status = fs::status(path, error);
    if (fs::exists(status) && !fs::is_regular_file(status) && !fs::is_directory(status))
        return true;
    // Behind /dev/stdout may be an ordinary file, which has to stay the same one. Windows finds its
    // devices, such as "nul", in every folder.
    const std::u8string file = fs::absolute(path, error).u8string();
    for (const char8_t* start : {u8"/dev/stdout", u8"/dev/stderr", u8"/dev/fd/"})
        if (file.starts_with(start))
            return true;
    return fs::absolute(path.filename(), error).u8string().starts_with(u8R"(\\.\)");
}

/// @return what went wrong; nothing when the file took all of the text
std::error_code WriteAll(const fs::path& path, std::ios::openmode mode, const TextSource& text)
{
    errno = 0;
    std::ofstream stream{path, std::ios::binary | mode};
    int error = errno;
    text([&](std::string_view part) {
        if (stream && !stream.write(part.data(), static_cast<std::streamsize>(part.size())))
            error = errno;
    });
    if (stream) {
        stream.close();
        error = errno;
    }
    return stream ? std::error_code{}
                  : std::error_code{error != 0 ? error : EIO, std::generic_category()};
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

    const fs::path& path() const noexcept { return path_; }
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
    const fs::path path = PathFromUtf8(target);
    std::error_code error;
    const fs::file_status status = fs::status(path, error);
    if (fs::is_directory(status))
        throw CommandError(ExitCode::kInput,
                           '"' + target + "\" is a folder; give the name of a file in it");
    if (!IsDirect(path) && fs::equivalent(path, source, error))
        throw CommandError(ExitCode::kInput,
                           '"' + target + "\" is the file that is read; choose another name");
    if (!IsDirect(path) && IsMissing(path.parent_path()))
        FailWrite(target, std::make_error_code(std::errc::no_such_file_or_directory));
}

void WriteOutputFile(const std::string& target, const TextSource& text)
{
    const fs::path path = PathFromUtf8(target);
    if (IsDirect(path)) {
        // A shell's >> must keep what is in the file already.
        if (const auto error = WriteAll(path, std::ios::app, text))
            FailWrite(target, error);
        return;
    }
    const fs::path file = FollowLinks(path);
    CTemporaryFile temporary{TemporaryNameFor(file)};
    if (const auto error = WriteAll(temporary.path(), std::ios::trunc, text))
        FailWrite(target, error);
    if (const auto error = temporary.MoveTo(file))
        FailWrite(target, error);
}

}  // namespace orrery
