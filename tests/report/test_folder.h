#pragma once

#include <cstddef>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <string>
#include <system_error>

namespace orrery {

/// A folder of its own that goes with the object.
class CTestFolder {
public:
    CTestFolder() { std::filesystem::create_directories(path_ / "folder"); }
    ~CTestFolder()
    {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }
    CTestFolder(const CTestFolder&) = delete;
    CTestFolder& operator=(const CTestFolder&) = delete;

    /// The path of a file in it, in UTF-8.
    std::string Path(const std::string& name) const
    {
        const std::u8string path = (path_ / std::u8string{name.begin(), name.end()}).u8string();
        return {path.begin(), path.end()};
    }
    /// @return the path of the file
    std::filesystem::path Write(const std::string& name, const std::string& bytes) const
    {
        std::filesystem::path path = path_ / std::u8string{name.begin(), name.end()};
        std::ofstream{path, std::ios::binary} << bytes;
        return path;
    }
    std::string Read(const std::string& name) const
    {
        std::ifstream file{path_ / name, std::ios::binary};
        return {std::istreambuf_iterator<char>{file}, {}};
    }
    /// How many files and folders are in it: at first one, which is called "folder".
    std::size_t Count() const
    {
        return static_cast<std::size_t>(std::distance(std::filesystem::directory_iterator{path_},
                                                      std::filesystem::directory_iterator{}));
    }

private:
    const std::filesystem::path path_ =
        std::filesystem::temp_directory_path() /
        (u8"orrery \u00FC\u65E5 " +
         std::filesystem::path{std::to_string(std::random_device{}())}.u8string());
};

}  // namespace orrery
