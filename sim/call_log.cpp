#include "sim/call_log.h"

#include <objbase.h>

#include <chrono>
#include <cstdio>
#include <thread>
#include <utility>

namespace orrery::sim {

std::optional<HRESULT> CallLog::Record(std::string_view call,
                                       std::initializer_list<std::string> arguments)
{
    if (!keepsLines_ && !hasListeners_)
        return std::nullopt;
    std::string line{call};
    for (const char* separator = "("; const std::string& argument : arguments)
        line.append(std::exchange(separator, ", ")).append(argument);
    line += ')';

    std::optional<HRESULT> result;
    std::chrono::milliseconds delay{0};
    std::shared_ptr<const Judge> judge;
    {
        const std::lock_guard hold{lock_};
        if (keepsLines_)
            lines_.push_back(line);
        judge = judge_;
        for (CallRule& rule : rules_) {
            if (!rule.call.empty() && rule.call != call && rule.call != line)
                continue;
            if (++rule.seen != rule.nth && rule.nth != 0)
                continue;
            delay += std::chrono::milliseconds{rule.delayMilliseconds};
            if (rule.result)
                result = rule.result;
        }
    }
    // outside the lock, so that a judge may use the log and other threads go on
    if (judge) {
        if (const auto judged = (*judge)(line))
            result = judged;
    }
    if (delay.count() != 0)
        std::this_thread::sleep_for(delay);
    return result;
}

void CallLog::Add(CallRule rule)
{
    const std::lock_guard hold{lock_};
    rules_.push_back(std::move(rule));
    hasListeners_ = true;
}

void CallLog::KeepNoLines()
{
    keepsLines_ = false;
}

void CallLog::LetJudge(Judge judge)
{
    const std::lock_guard hold{lock_};
    judge_ = judge ? std::make_shared<const Judge>(std::move(judge)) : nullptr;
    hasListeners_ = true;
}

void CallLog::ForgetLines()
{
    const std::lock_guard hold{lock_};
    lines_.clear();
}

std::vector<std::string> CallLog::Lines() const
{
    const std::lock_guard hold{lock_};
    return lines_;
}

std::string ToBytes(std::wstring_view text, UINT codePage)
{
    std::string bytes(text.size() * 3, '\0');
    bytes.resize(static_cast<std::size_t>(
        WideCharToMultiByte(codePage, 0, text.data(), static_cast<int>(text.size()), bytes.data(),
                            static_cast<int>(bytes.size()), nullptr, nullptr)));
    return bytes;
}

std::string Shown(const wchar_t* text)
{
    if (text == nullptr)
        return "null";
    if (text == COLE_DEFAULT_PRINCIPAL)
        return "-1";
    return ToBytes(text);
}

std::string Shown(long number)
{
    return std::to_string(number);
}

std::string ShownFlags(unsigned long flags)
{
    char text[16];
    std::snprintf(text, sizeof text, "0x%lX", flags);
    return text;
}

}  // namespace orrery::sim
