#include "case_file.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <stdexcept>

#include "client/text/utf8.h"

namespace orrery {

std::string Expanded(std::string_view text)
{
    constexpr std::string_view kOpen = "\u00AB", kClose = "\u00BB";
    std::string expanded;
    for (std::size_t open; (open = text.find(kOpen)) != std::string_view::npos;) {
        const std::string mark{
            text.substr(open + kOpen.size(), text.find(kClose, open) - open - kOpen.size())};
        expanded += text.substr(0, open);
        text.remove_prefix(open + kOpen.size() + mark.size() + kClose.size());
        if (mark.empty())
            text.remove_prefix(std::min<std::size_t>(1, text.size()));
        else if (const auto blank = mark.find(' '); blank != std::string::npos)
            expanded.append(std::stoul(mark), mark[blank + 1]);
        else
            AppendUtf8(std::u16string(1, static_cast<char16_t>(std::stoul(mark, nullptr, 16))),
                       &expanded);
    }
    return expanded.append(text);
}

std::vector<Case> Cases(const std::string& name, const std::vector<std::string>& names)
{
    std::ifstream file{std::filesystem::path{ORRERY_TEST_DATA "/cases"} / (name + ".txt")};
    std::vector<Case> cases;
    std::string* text = nullptr;
    for (std::string line; std::getline(file, line);) {
        if (line.starts_with("# ")) {
            cases.push_back({line.substr(2), {}});
            text = nullptr;
        } else if (line.starts_with("-- ") && !cases.empty()) {
            if (std::find(names.begin(), names.end(), line.substr(3)) == names.end())
                throw std::runtime_error(std::string{name}.append(": ").append(line));
            text = &cases.back().texts[line.substr(3)];
        } else if (text != nullptr) {
            text->append(line).append(1, '\n');
        }
    }
    for (Case& each : cases)
        for (auto& [ignored, whole] : each.texts) {
            const std::size_t size = whole.find_last_not_of('\n') + 1;
            whole = Expanded(whole.substr(0, size).append(size > 0 ? 1 : 0, '\n'));
        }
    if (cases.empty())
        throw std::runtime_error("there are no cases of " + name);
    return cases;
}

}  // namespace orrery
