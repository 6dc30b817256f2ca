#include "client/machine/wmi_probe.h"

#include <windows.h>

#include <algorithm>
#include <memory>
#include <mutex>
#include <set>
#include <utility>
#include <vector>

#include "client/system/console.h"
#include "client/machine/ask_within.h"
#include "client/machine/questions.h"
#include "native/local_drive.h"
#include "support/com.h"
#include "wmi/session.h"

namespace orrery::machine {
namespace {

using Clock = std::chrono::steady_clock;
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
        for (const Feed& feed : question.feeds)
            for (const KeySource& key : feed.keys)
                if (key.reads != nullptr && key.property != nullptr)
                    lacking_.insert(key.reads);
    }

    /// Starts the time that instances take, now that the session is open.
    void Begin()
    {
        const std::lock_guard lock{mutex_};
        start_ = Clock::now();
    }
    /// Notes an instance.
    /// @param source the property that other questions need, or null
    void Add(IWbemClassObject* instance, const wchar_t* source, bool isLate)
    {
        std::vector<std::wstring> told;
        for (const std::wstring& property : Lacking())
            if (HasProperty(instance, property.c_str()) &&
                ReadTextProperty(instance, property.c_str()) != WideString{})
                told.push_back(property);
        const auto identity =
            source != nullptr ? ReadTextProperty(instance, source) : std::optional<WideString>{};
        const std::lock_guard lock{mutex_};
        for (const std::wstring& property : told)
            lacking_.erase(property);
        if (identity)
            identities_.emplace_back(identity->view());
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

/// One batch as FirstBatch takes it, instance by instance, and then what the library misses.
HRESULT AskBatch(IWbemServices* services, const wchar_t* source, CProgress* progress)
{
    const auto instances = StartEnumeration(services, progress->question().className);
    HRESULT result = instances.result;
    if (!instances)
        return FAILED(result) ? result : E_FAIL;
    const auto start = Clock::now();
    bool isLate = false;
    for (std::uint32_t left = progress->question().maxInstances; left > 0;) {
        ComPtr<IWbemClassObject> instance;
        ULONG returned = 0;
        const auto passed = static_cast<long>(MillisecondsSince(start));
        const long wait =
            isLate ? static_cast<long>(WBEM_INFINITE) : std::max(kBatchMilliseconds - passed, 0L);
        result = instances->Next(wait, 1, instance.put(), &returned);
        if (result == static_cast<HRESULT>(WBEM_S_TIMEDOUT) && !isLate) {
            isLate = true;
            continue;
        }
        if (FAILED(result) || returned == 0)
            break;
        --left;
        if (instance)
            progress->Add(instance.get(), source, isLate);
    }
    return result;
}

HRESULT AskQuery(IWbemServices* services, std::wstring_view text, const wchar_t* source,
                 CProgress* progress)
{
    QueryRows rows = Query(services, text);
    while (const auto row = rows.Next())
        progress->Add(row.get(), source, false);
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
HRESULT AskAbout(IWbemServices* services, const std::wstring& object, const wchar_t* source,
                 CProgress* progress)
{
    const WmiQuestion& question = progress->question();
    if (question.asking == Asking::kMethod)
        return AskMethod(services, object, progress);
    std::wstring text = question.text;
    text.replace(text.find(L'%'), 1, object);
    return AskQuery(services, text, source, progress);
}

/// Whether the library asks about the other objects after one that fails: it asks about each volume
/// for itself, but ends the walk from drives to partitions to volumes.
bool IsAskedForEachVolume(const WmiQuestion& question)
{
    const WmiQuestion* first = &question;
    while (first->source != kNoQuestion)
        first = &WmiQuestions()[first->source];
    return first->asking == Asking::kQueryEach;
}

/// @return for a question about objects the first failure
HRESULT Ask(IWbemServices* services, const Identities& objects, const wchar_t* source,
            CProgress* progress)
{
    const WmiQuestion& question = progress->question();
    if (question.asking == Asking::kBatch)
        return AskBatch(services, source, progress);
    if (question.asking == Asking::kQuery)
        return AskQuery(services, question.text, source, progress);
    HRESULT firstFailure = S_OK;
    for (const std::wstring& object : objects) {
        const HRESULT result = AskAbout(services, object, source, progress);
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
const wchar_t* NeededFrom(std::size_t source)
{
    for (const WmiQuestion& question : WmiQuestions())
        if (question.source == source && question.sourceProperty != nullptr)
            return question.sourceProperty;
    return nullptr;
}

Identities Volumes()
{
    CLocalDrive drives;
    const std::size_t count = drives.Enumerate(false);
    Identities volumes;
    for (std::size_t at = 0; at < count; ++at)
        volumes.emplace_back(drives.DeviceId(at).view());
    return volumes;
}

doctor::NamespaceFinding ProbeNamespace(const WmiNamespace& wanted, std::chrono::seconds limit)
{
    const auto ask = [&wanted] {
        const auto start = Clock::now();
        const auto session = OpenNamespace(wanted);
        return std::pair{session ? Outcome{Ending::kAnswered, 0} : OutcomeOf(session.result),
                         MillisecondsSince(start)};
    };
    doctor::NamespaceFinding finding{ToUtf8(wanted.path), {Ending::kNoAnswer, 0}, 0};
    if (const auto answer = AskWithin(limit, ask)) {
        finding.outcome = answer->first;
        finding.milliseconds = answer->second;
    }
    return finding;
}

std::vector<doctor::Feed> FeedsOf(const WmiQuestion& question)
{
    std::vector<doctor::Feed> feeds;
    for (const Feed& each : question.feeds) {
        doctor::Feed& feed = feeds.emplace_back();
        feed.without = each.without;
        feed.standIn = each.standIn != nullptr ? ToUtf8(each.standIn) : "";
        for (const KeySource& key : each.keys)
            if (key.property != nullptr)
                feed.keys.push_back({key.reads != nullptr ? ToUtf8(key.reads) : "",
                                     ToUtf8(each.section) + '.' + ToUtf8(key.property), key.blank,
                                     key.blankStandIn != nullptr ? ToUtf8(key.blankStandIn) : ""});
    }
    return feeds;
}

ClassFinding Describe(const WmiQuestion& question)
{
    ClassFinding finding;
    finding.wmiNamespace = question.wmiNamespace;
    finding.name = ToUtf8(question.className);
    if (question.asking == Asking::kMethod)
        finding.method = ToUtf8(question.text);
    finding.asking = question.asking == Asking::kBatch    ? doctor::Asking::kClass
                     : question.asking == Asking::kMethod ? doctor::Asking::kMethod
                                                          : doctor::Asking::kQuery;
    finding.mayBeEmpty = question.mayBeEmpty;
    finding.feeds = FeedsOf(question);
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
        const bool isAboutObjects =
            question.asking == Asking::kQueryEach || question.asking == Asking::kMethod;
        if (!isOpen)
            continue;
        announce(finding.name);
        const Identities objects = !isAboutObjects                  ? Identities{}
                                   : question.source == kNoQuestion ? Volumes()
                                                                    : identities[question.source];
        if (isAboutObjects && objects.empty())
            continue;
        finding.objects = objects.size();
        identities[number] = ProbeClass(number, objects, limit, &finding);
    }
}

}  // namespace orrery::machine
