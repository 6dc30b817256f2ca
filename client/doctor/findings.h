#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace orrery::doctor {

/// How a question to Windows ended.
enum class Ending {
    kNotAsked,  ///< what it depends on is missing
    kAnswered,
    kFailed,
    kNoAnswer,  ///< within the time limit
};

struct Outcome {
    Ending ending = Ending::kNotAsked;
    std::uint32_t error = 0;  ///< of a failure: an HRESULT or a number of Windows
};

enum class Rights { kNotKnown, kUser, kAdministrator, kLocalSystem };

enum class ServiceState { kNotKnown, kRunning, kStopped, kDisabled, kMissing };

struct NamespaceFinding {
    std::string path;
    Outcome outcome;
    unsigned milliseconds = 0;  ///< until the session was open
    /// What the session is for, where there are several to a namespace; else empty.
    std::string use{};
};

/// What becomes of keys of the report when the answer that feeds them is missing.
enum class Without {
    kLeftOut,  ///< they are not in the report
    kEmpty,    ///< they are empty
    kZero,     ///< they are "0"
    kStandIn,  ///< the library asks something else
};

/// A fact of the report, and what it is read from.
struct FedKey {
    std::string reads;  ///< property; empty: it needs the answer without being read from it
    std::string key;    ///< "Section.Property"; empty for what only helps to find another fact
    /// What becomes of the key where an answer is there, but has no value for it.
    Without blank = Without::kEmpty;
    std::string blankStandIn{};  ///< as Feed::standIn
};

/// Keys of the report that an answer feeds.
struct Feed {
    std::vector<FedKey> keys;
    Without without = Without::kLeftOut;  ///< the whole answer
    std::string standIn{};                ///< what else is asked, or found, in words
};

enum class Asking {
    kClass,   ///< the class is enumerated: one batch within a second, see FirstBatch
    kQuery,   ///< a query in WQL, read to the end
    kMethod,  ///< a method without input that changes nothing
};

/// One class, query or method.
struct ClassFinding {
    std::size_t wmiNamespace = 0;  ///< in Findings::namespaces
    std::string name;              ///< of the class
    std::string method;            ///< empty unless one is run
    Asking asking = Asking::kClass;
    bool mayBeEmpty = false;  ///< there are sound machines without any instance
    std::vector<Feed> feeds;

    Outcome outcome;
    unsigned first = 0, last = 0;  ///< milliseconds until the first and the last instance
    std::size_t count = 0;
    std::size_t late = 0;  ///< of the count: come when the library no longer waits
    /// What the question is put about one after the other, and how many of these were answered; 0
    /// for a question that is put once.
    std::size_t objects = 0, objectsAnswered = 0;
    /// Properties without a value in any instance.
    std::vector<std::string> withoutValue;
};

/// The WLAN service as a program sees it.
struct WlanFinding {
    bool hasLibrary = false;
    Outcome outcome;  ///< of listing the adapters
    std::size_t adapters = 0, connected = 0;
    Outcome connection;  ///< of asking connected adapters for their connection
    /// Where location access is switched off, in words.
    std::vector<std::string> deniedBy;
};

struct ScsiFinding {
    Outcome outcome;
    std::vector<Outcome> ports;  ///< of opening port 0 and 1
    std::size_t drives = 0;      ///< that answer there
};

/// A fact that a report would tell, without its value.
struct Fact {
    std::string section, property;
    std::int32_t index = 0;
    bool isEmpty = false;
};

/// A collection without a report.
struct Rehearsal {
    unsigned timeoutSeconds = 0;  ///< for each category
    std::vector<Fact> facts;
    std::vector<std::string> unfinished;  ///< categories that took longer
};

/// What a machine answers to what the library asks.
struct Findings {
    unsigned timeoutSeconds = 0;
    Rights rights = Rights::kNotKnown;
    ServiceState wmiService = ServiceState::kNotKnown;
    ServiceState wlanService = ServiceState::kNotKnown;
    std::vector<NamespaceFinding> namespaces;
    std::vector<ClassFinding> classes;
    WlanFinding wlan;
    ScsiFinding scsi;
    std::optional<Rehearsal> rehearsal;
};

}  // namespace orrery::doctor
