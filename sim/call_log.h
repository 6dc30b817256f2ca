#pragma once

#include <windows.h>

#include <atomic>
#include <functional>
#include <initializer_list>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace orrery::sim {

/// What is to happen to some calls.
struct CallRule {
    std::string call;  ///< a call's name or its whole trace line; empty for every call
    int nth = 0;       ///< which of these calls, counted from the rule's start; 0 for all
    std::optional<HRESULT> result;
    int delayMilliseconds = 0;
    int seen = 0;
};

/// Records the simulated calls of all threads and makes some of them fail or wait.
class CallLog {
public:
    /// Is told of and decides about a call in the calling thread: nothing lets it be, a result is as a rule's.
    using Judge = std::function<std::optional<HRESULT>(const std::string& line)>;

    /// Records a call, then carries it out unless a rule makes it fail. A rule with a success code
    /// replaces the code of a call that succeeded.
    template <class Action>
    HRESULT Run(std::string_view call, std::initializer_list<std::string> arguments,
                Action carryOut)
    {
        const std::optional<HRESULT> ordered = Record(call, arguments);
        if (ordered && FAILED(*ordered))
            return *ordered;
        const HRESULT result = carryOut();
        return ordered && SUCCEEDED(result) ? *ordered : result;
    }

    void Add(CallRule rule);
    void LetJudge(Judge judge);
    void ForgetLines();
    /// Records nothing from now on. Without rules and a judge a call then costs next to nothing.
    void KeepNoLines();
    std::vector<std::string> Lines() const;

private:
    std::optional<HRESULT> Record(std::string_view call,
                                  std::initializer_list<std::string> arguments);

    std::atomic<bool> keepsLines_{true};
    std::atomic<bool> hasListeners_{false};  ///< rules or a judge that came at some time
    mutable std::mutex lock_;
    std::vector<std::string> lines_;
    std::vector<CallRule> rules_;
    std::shared_ptr<const Judge> judge_;
};

/// A text as the bytes of a code page.
std::string ToBytes(std::wstring_view text, UINT codePage = CP_UTF8);
/// Arguments as trace lines show them: UTF-8 text, "null", "-1" for COM's default constants.
std::string Shown(const wchar_t* text);
std::string Shown(long number);
std::string ShownFlags(unsigned long flags);

}  // namespace orrery::sim
