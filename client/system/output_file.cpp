#include "client/system/output_file.h"

#include <cerrno>
#include <fstream>
#include <system_error>

#include "client/system/console.h"
#include "client/system/exit_codes.h"
#include "client/system/new_file.h"
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

/// Writes to what is no ordinary file.
/// @return what went wrong; nothing when all of the text was taken
std::error_code WriteDirectly(const fs::path& path, const TextSource& text)
{
    errno = 0;
    // A shell's >> must keep what is in the file already.
    std::ofstream stream{path, std::ios::binary | std::ios::app};
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

std::error_code WriteAnew(const fs::path& path, const TextSource& text)
{
    CNewFile file{path};
    text([&file](std::string_view part) { file.Write(part); });
    return file.Publish();
}

}  // namespace

void CheckOutputFile(const std::string& target, const fs::path& source)
{
    if (target == kStandardStream)
        return;
    if (target.empty())
        throw CommandError(
            ExitCode::kInput,
            "the name of the file to write is empty; give one, or \"-\" for standard "
            "output");
    const fs::path path = PathFromUtf8(target);
    std::error_code error;
    const fs::file_status status = fs::status(path, error);
    if (fs::is_directory(status))
        throw CommandError(ExitCode::kInput,
                           '"' + target + "\" is a folder; give the name of a file in it");
    if (!IsDirect(path) && (path == source || fs::equivalent(path, source, error)))
        throw CommandError(ExitCode::kInput,
                           '"' + target + "\" is the file that is read; choose another name");
    if (!IsDirect(path) && IsMissing(path.parent_path()))
        FailWrite(target, std::make_error_code(std::errc::no_such_file_or_directory));
}

void WriteOutputFile(const std::string& target, const TextSource& text)
{
    const fs::path path = PathFromUtf8(target);
    if (const auto error = IsDirect(path) ? WriteDirectly(path, text) : WriteAnew(path, text))
        FailWrite(target, error);
}

}  // namespace orrery
