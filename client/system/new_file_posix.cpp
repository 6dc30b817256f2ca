#include "client/system/new_file.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <random>
#include <string>
#include <vector>

namespace orrery {
namespace {

namespace fs = std::filesystem;

constexpr char kStart[] = ".orreryctl.", kEnd[] = ".tmp";
constexpr std::array kSignals{SIGINT, SIGTERM, SIGHUP};

// A handler is passed nothing but the signal. Empty while there is nothing to remove.
std::array<char, 4096> unfinished;

extern "C" void RemoveUnfinished(int signal)
{
    if (unfinished[0] != '\0')
        unlink(unfinished.data());
    raise(signal);  // takes effect with the return, and then by the default
}

/// Has a signal that ends the program remove the file first.
void RemoveOnSignal(const std::string& path)
{
    if (path.size() >= unfinished.size())
        return;  // no system takes such a path
    std::memcpy(unfinished.data(), path.c_str(), path.size() + 1);
    for (const int signal : kSignals) {
        struct sigaction before {
        }, action{};
        sigaction(signal, nullptr, &before);
        if (before.sa_handler == SIG_IGN)
            continue;  // as nohup wants it
        action.sa_handler = &RemoveUnfinished;
        action.sa_flags = static_cast<int>(SA_RESETHAND);
        sigaction(signal, &action, nullptr);
    }
}

void RemoveNothing()
{
    for (const int signal : kSignals) {
        struct sigaction now {};
        sigaction(signal, nullptr, &now);
        if (now.sa_handler == &RemoveUnfinished)
            std::signal(signal, SIG_DFL);
    }
    unfinished[0] = '\0';
}

std::error_code LastError()
{
    return {errno != 0 ? errno : EIO, std::generic_category()};
}

std::string NewName()
{
    std::random_device random;
    std::array<char, 32> name{};
    std::snprintf(name.data(), name.size(), "%s%08x%08x%s", kStart, random(), random(), kEnd);
    return name.data();
}

/// Removes what killed programs have left: whoever still writes a file has it locked.
void RemoveLeftovers(const fs::path& folder)
{
    std::error_code error;
    for (fs::directory_iterator each{folder.empty() ? "." : folder, error}, end;
         !error && each != end; each.increment(error)) {
        const std::string name = each->path().filename().string();
        if (!name.starts_with(kStart) || !name.ends_with(kEnd))
            continue;
        const int file = open(each->path().c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC);
        if (file < 0)
            continue;
        if (flock(file, LOCK_EX | LOCK_NB) == 0)
            unlink(each->path().c_str());
        close(file);
    }
}

/// Makes a file that did not exist and locks it.
/// @return its descriptor, negative with errno when it cannot be made
int MakeLocked(const fs::path& path)
{
    const int file =
        open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, S_IRUSR | S_IWUSR);
    struct stat status {};
    if (file < 0 || (flock(file, LOCK_EX) == 0 && fstat(file, &status) == 0 && status.st_nlink > 0))
        return file;
    // Another program took it for a leftover before it was locked.
    close(file);
    errno = EEXIST;
    return -1;
}

constexpr char kAccessList[] = "system.posix_acl_access";

/// A list of who may do what; empty where there is none.
std::vector<char> List(const fs::path& path, const char* name)
{
    std::vector<char> list(65536);
    const ssize_t size = lgetxattr(path.c_str(), name, list.data(), list.size());
    list.resize(size > 0 ? static_cast<std::size_t>(size) : 0);
    return list;
}

bool GiveList(int file, const std::vector<char>& list)
{
    return list.empty() || fsetxattr(file, kAccessList, list.data(), list.size(), 0) == 0;
}

/// Gives a file the permissions of any new one: by the list of its folder, else by the mask.
bool GiveUsualPermissions(const fs::path& folder, int file)
{
    constexpr mode_t kNew = S_IRUSR | S_IWUSR | S_IRGRP | S_IWGRP | S_IROTH | S_IWOTH;
    std::vector<char> list = List(folder.empty() ? "." : folder, "system.posix_acl_default");
    if (list.empty()) {
        const mode_t mask = umask(0);
        umask(mask);
        return fchmod(file, kNew & ~mask) == 0;
    }
    // After the version come tags, rights and numbers, of 2, 2 and 4 bytes. No new file is a program.
    constexpr std::size_t kVersion = 4, kEntry = 8, kRights = 2;
    for (std::size_t at = kVersion + kRights; at < list.size(); at += kEntry)
        list[at] = static_cast<char>(list[at] & ~S_IXOTH);
    return GiveList(file, list);
}

/// Gives a file the permissions of the one that it replaces.
bool TakeOverPermissions(const fs::path& target, int file)
{
    constexpr mode_t kAll = S_IRWXU | S_IRWXG | S_IRWXO;
    struct stat earlier {
    }, now{};
    if (lstat(target.c_str(), &earlier) != 0 || !S_ISREG(earlier.st_mode))
        return GiveUsualPermissions(target.parent_path(), file);
    mode_t mode = earlier.st_mode & kAll;
    if (fstat(file, &now) != 0)
        return false;
    const auto none = static_cast<uid_t>(-1);
    // What the group may do is not for another group; only root gives a file away.
    if (now.st_gid != earlier.st_gid && fchown(file, none, earlier.st_gid) != 0)
        mode &= ~static_cast<mode_t>(S_IRWXG);
    const bool isOwners = now.st_uid == earlier.st_uid || fchown(file, earlier.st_uid, none) == 0;
    // What the folder's list has given it goes first: with the mode its rights would come to life.
    fremovexattr(file, kAccessList);
    return fchmod(file, mode) == 0 && (!isOwners || GiveList(file, List(target, kAccessList)));
}

}  // namespace

CNewFile::CNewFile(const fs::path& target) : target_(target)
{
    RemoveLeftovers(target.parent_path());
    for (int tries = 0; file_ < 0 && tries < 10; ++tries) {
        path_ = fs::path{target}.replace_filename(NewName());
        RemoveOnSignal(path_.string());
        file_ = MakeLocked(path_);
        if (file_ < 0 && errno != EEXIST)
            break;
    }
    if (file_ < 0) {
        error_ = LastError();
        RemoveNothing();
    }
}

CNewFile::~CNewFile()
{
    if (file_ < 0)
        return;
    if (!path_.empty())
        unlink(path_.c_str());
    RemoveNothing();
    close(file_);
}

void CNewFile::Write(std::string_view part)
{
    while (!part.empty() && !error_) {
        const ssize_t written = write(file_, part.data(), part.size());
        if (written > 0)
            part.remove_prefix(static_cast<std::size_t>(written));
        else if (written == 0 || errno != EINTR)
            error_ = LastError();
    }
}

std::error_code CNewFile::Publish()
{
    if (error_)
        return error_;
    if (!TakeOverPermissions(target_, file_) || fsync(file_) != 0 ||
        std::rename(path_.c_str(), target_.c_str()) != 0)
        return LastError();
    path_.clear();
    return {};
}

}  // namespace orrery
