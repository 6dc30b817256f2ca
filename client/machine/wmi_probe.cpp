#include "client/machine/wmi_probe.h"

#include <windows.h>

#include <algorithm>
#include <memory>
#include <mutex>
#include <set>
#include <utility>
#include <vector>

#include "client/system/console.h"
#include "client/machine/arrivals.h"
#include "client/machine/ask_within.h"
#include "client/machine/questions.h"
#include "support/com.h"
#include "wmi/session.h"

namespace orrery::machine {
namespace {

using Clock = std::chrono::steady_clock;
using doctor::Asking;
using doctor::ClassFinding;
using doctor::Ending;
using doctor::Outcome;

unsigned MillisecondsSince(Clock::time_point start)
{
    return static_cast<unsigned>(
        std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - start).count());
}

Outcome OutcomeOf(HRESULT result)
{
    if (SUCCEEDED(result))
        return {Ending::kAnswered, 0};
    return {Ending::kFailed, static_cast<std::uint32_t>(result)};
}

/// What a question has brought so far. The thread that asks fills it, and whoever waits for it takes
/// what there is when the time is over.
class CProgress {
public:
    explicit CProgress(const WmiQuestion& question) : question_(question)
    {
        for (const doctor::Feed& feed : question.feeds)
            for (const doctor::FedKey& each : feed.keys)
                if (!each.reads.empty() && !each.key.empty())
                    lacking_.insert(FromUtf8(each.reads));
    }

    /// Starts the time that instances take, now that the session is open.
    void Begin()
    {
        const std::lock_guard lock{mutex_};
        start_ = Clock::now();
    }
    /// Notes an instance.
    /// @param identity the property that other questions need, or null
    void Add(IWbemClassObject* instance, const wchar_t* identity, bool isLate)
    {
        std::vector<std::wstring> told;
        for (const std::wstring& property : Lacking())
            if (HasProperty(instance, property.c_str()) &&
                ReadTextProperty(instance, property.c_str()) != WideString{})
                told.push_back(property);
        const auto name = identity != nullptr ? ReadTextProperty(instance, identity)
                                              : std::optional<WideString>{};
        const std::lock_guard lock{mutex_};
        for (const std::wstring& property : told)
            lacking_.erase(property);
        if (name)
            identities_.emplace_back(name->view());
        last_ = MillisecondsSince(start_);
        if (count_ == 0)
            first_ = last_;
        ++count_;
        late_ += isLate ? 1 : 0;
    }
    /// Notes that the question was answered for an object.
    void CountObject()
    {
        const std::lock_guard lock{mutex_};
        ++objectsAnswered_;
    }
    void Finish(HRESULT result)
    {
        const std::lock_guard lock{mutex_};
        outcome_ = OutcomeOf(result);
    }

    /// Copies what is known into a finding.
    /// @return what tells the instances apart
    std::vector<std::wstring> Tell(ClassFinding* finding) const
    {
        const std::lock_guard lock{mutex_};
        finding->outcome = outcome_;
        finding->first = first_;
        finding->last = last_;
        finding->count = count_;
        finding->late = late_;
        finding->objectsAnswered = objectsAnswered_;
        if (count_ != 0)
            for (const std::wstring& property : lacking_)
                finding->withoutValue.push_back(ToUtf8(property));
        return identities_;
    }

    const WmiQuestion& question() const noexcept { return question_; }

private:
    std::set<std::wstring> Lacking() const
    {
        const std::lock_guard lock{mutex_};
        return lacking_;
    }

    const WmiQuestion& question_;  // of a table that lives as long as the process
    mutable std::mutex mutex_;
    Clock::time_point start_ = Clock::now();
    Outcome outcome_{Ending::kNoAnswer, 0};
    unsigned first_ = 0, last_ = 0;
    std::size_t count_ = 0, late_ = 0, objectsAnswered_ = 0;
    std::set<std::wstring> lacking_;
    std::vector<std::wstring> identities_;
};

/// What tells the objects of a question apart.
using Identities = std::vector<std::wstring>;

HRESULT AskClass(IWbemServices* services, const wchar_t* identity, CProgress* progress)
{
    const WmiQuestion& question = progress->question();
    const auto instances = StartEnumeration(services, question.className);
    if (!instances)
        return FAILED(instances.result) ? instances.result : E_FAIL;
    return ForEachArrival(instances.get(), question.maxInstances, std::nullopt,
                          [&](const Arrival& arrival) {
                              if (arrival.instance != nullptr)
                                  progress->Add(arrival.instance, identity, arrival.isLate);
                          });
}

HRESULT AskQuery(IWbemServices* services, std::wstring_view text, const wchar_t* identity,
                 CProgress* progress)
{
    QueryRows rows = Query(services, text);
    while (const auto row = rows.Next())
        progress->Add(row.get(), identity, false);
    return rows.result();
}

HRESULT AskMethod(IWbemServices* services, const std::wstring& object, CProgress* progress)
{
    const WmiQuestion& question = progress->question();
    const auto input = MakeMethodInput(services, question.className, question.text);
    if (FAILED(input.result))
        return input.result;
    const auto output = RunMethod(services, question.text, object, input.get());
    if (output)
        progress->Add(output.get(), nullptr, false);
    return output.result;
}

/// Puts a question about one object.
HRESULT AskAbout(IWbemServices* services, const std::wstring& object, const wchar_t* identity,
                 CProgress* progress)
{
    if (progress->question().asking == Asking::kMethod)
        return AskMethod(services, object, progress);
    const auto text = QuestionText(progress->question(), object);
    return text ? AskQuery(services, *text, identity, progress) : S_OK;
}

/// Whether the library asks about the other objects after one that fails: it asks about each volume
/// for itself, but ends the walk from drives to partitions to volumes.
bool IsAskedForEachVolume(const WmiQuestion& question)
{
    return question.about == kVolumes ||
           (question.about != kNothing && IsAskedForEachVolume(WmiQuestions()[question.about]));
}

/// @return for a question about objects the first failure
HRESULT Ask(IWbemServices* services, const Identities& objects, const wchar_t* identity,
            CProgress* progress)
{
    const WmiQuestion& question = progress->question();
    if (question.asking == Asking::kClass)
        return AskClass(services, identity, progress);
    if (question.about == kNothing)
        return AskQuery(services, question.text, identity, progress);
    HRESULT firstFailure = S_OK;
    for (const std::wstring& object : objects) {
        const HRESULT result = AskAbout(services, object, identity, progress);
        if (SUCCEEDED(result)) {
            progress->CountObject();
            continue;
        }
        if (SUCCEEDED(firstFailure))
            firstFailure = result;
        if (!IsAskedForEachVolume(question))
            break;
    }
    return firstFailure;
}

/// The property of a question's instances that other questions need; null for none.
const wchar_t* NeededFrom(std::size_t number)
{
    for (const WmiQuestion& question : WmiQuestions())
        if (question.about == number)
            return question.identity;
    return nullptr;
}

doctor::NamespaceFinding ProbeNamespace(const WmiNamespace& wanted, std::chrono::seconds limit)
{
    const auto ask = [&wanted] {
        const auto start = Clock::now();
        const auto session = OpenNamespace(wanted);
        return std::pair{session ? Outcome{Ending::kAnswered, 0} : OutcomeOf(session.result),
                         MillisecondsSince(start)};
    };
    doctor::NamespaceFinding finding{ToUtf8(wanted.path), {Ending::kNoAnswer, 0}, 0, wanted.use};
    if (const auto answer = AskWithin(limit, ask)) {
        finding.outcome = answer->first;
        finding.milliseconds = answer->second;
    }
    return finding;
}

ClassFinding Describe(const WmiQuestion& question)
{
    ClassFinding finding;
    finding.wmiNamespace = question.wmiNamespace;
    finding.name = ToUtf8(question.className);
    if (question.asking == Asking::kMethod)
        finding.method = ToUtf8(question.text);
    finding.asking = question.asking;
    finding.mayBeEmpty = question.mayBeEmpty;
    finding.feeds = question.feeds;
    return finding;
}

/// @param objects what the question is about, where it is about objects
/// @return what tells the answer's instances apart, for questions about them
Identities ProbeClass(std::size_t number, const Identities& objects, std::chrono::seconds limit,
                      ClassFinding* finding)
{
    const WmiQuestion& question = WmiQuestions()[number];
    const auto progress = std::make_shared<CProgress>(question);
    const auto ask = [progress, objects, number] {
        const WmiQuestion& asked = progress->question();
        const auto services = OpenNamespace(WmiNamespaces()[asked.wmiNamespace]);
        HRESULT result = services.result;
        if (services) {
            progress->Begin();
            result = Ask(services.get(), objects, NeededFrom(number), progress.get());
        }
        progress->Finish(result);
        return true;
    };
    static_cast<void>(AskWithin(limit, ask));
    return progress->Tell(finding);
}

}  // namespace

void ProbeWmi(std::chrono::seconds limit, const Announce& announce, doctor::Findings* findings)
{
    for (const WmiNamespace& each : WmiNamespaces()) {
        announce(ToUtf8(each.path));
        findings->namespaces.push_back(ProbeNamespace(each, limit));
    }
    std::vector<Identities> identities;
    for (const WmiQuestion& question : WmiQuestions()) {
        const std::size_t number = identities.size();
        ClassFinding& finding = findings->classes.emplace_back(Describe(question));
        identities.emplace_back();
        const bool isOpen =
            findings->namespaces[question.wmiNamespace].outcome.ending == Ending::kAnswered;
        if (!isOpen)
            continue;
        announce(finding.name);
        Identities objects;
        if (question.about != kNothing) {
            objects = question.about == kVolumes ? ListedVolumes() : identities[question.about];
            if (objects.empty())
                continue;
        }
        finding.objects = objects.size();
        identities[number] = ProbeClass(number, objects, limit, &finding);
    }
}

}  // namespace orrery::machine
