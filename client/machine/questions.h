#pragma once

#include <windows.h>

#include <cstddef>
#include <cstdint>
#include <vector>

#include "client/doctor/without.h"
#include "wmi/session.h"

// What the library asks of Windows, as plain data for the commands that ask the same: which WMI
// namespaces, classes and queries, which registry values, and what of the report each feeds.

namespace orrery::machine {

/// What is read, and what the report calls it.
struct KeySource {
    const wchar_t* reads;     ///< property of the class, or value of the registry key; null for a
                              ///< fact that needs the answer without being read from it
    const wchar_t* property;  ///< of the report; null for what only helps to find another fact
    /// What becomes of the fact where an answer is there, but has no value for it.
    Without blank = Without::kEmpty;
    const wchar_t* blankStandIn = nullptr;  ///< as Feed::standIn
};

/// A part of the report that an answer feeds.
struct Feed {
    const wchar_t* category;  ///< as in the report's elapsed times
    const wchar_t* section;
    std::vector<KeySource> keys;
    Without without;                   ///< the whole answer
    const wchar_t* standIn = nullptr;  ///< what else is asked, or found, in words
};

/// How the library opens its session to a namespace.
enum class Session {
    kDefault,  ///< OpenDefaultSession, which the classes are enumerated with
    kOwn,      ///< OpenSession, one for each use
};

struct WmiNamespace {
    const wchar_t* path;  ///< spelled as the library spells it
    Session session;
    RefusedBlanket refused;  ///< of a session of its own
};

/// The namespaces, in an order to which WmiQuestion::wmiNamespace counts.
const std::vector<WmiNamespace>& WmiNamespaces();

/// Opens a namespace as the library does.
WmiResult<IWbemServices> OpenNamespace(const WmiNamespace& wanted);

enum class Asking {
    kBatch,      ///< the class is enumerated: one batch within a second, see FirstBatch
    kQuery,      ///< one query in WQL, read to the end
    kQueryEach,  ///< a query for each object of another question, or for each volume
    kMethod,     ///< a method without input, run on each object of another question; it changes
                 ///< nothing
};

constexpr std::size_t kNoQuestion = static_cast<std::size_t>(-1);

struct WmiQuestion {
    std::size_t wmiNamespace;
    const wchar_t* className;  ///< of the instances in the answer
    Asking asking;
    /// The query, in which "%" stands for what tells the objects apart; the name of the method;
    /// null for a batch.
    const wchar_t* text;
    /// The question whose objects are meant; kNoQuestion for the volumes from C to Z that
    /// CLocalDrive lists.
    std::size_t source;
    const wchar_t* sourceProperty;  ///< what "%" or the method's object is taken from; else null
    std::uint32_t maxInstances;     ///< of a batch
    bool mayBeEmpty;                ///< there are sound machines without any instance
    std::vector<Feed> feeds;
};

/// Every WMI question, in an order in which sources come first.
const std::vector<WmiQuestion>& WmiQuestions();

/// Which systems the library reads a key on.
enum class System {
    kEvery,
    kNt4,     ///< NT 4 and earlier
    kWin9x,   ///< the 9x family
    kPreNt4,  ///< NT before 4.0 with service pack 6, which does not tell its product type
};

/// Where the path of a key comes from.
enum class KeyPlace {
    kFixed,        ///< the path as it stands; "*" is every subkey
    kEachDisplay,  ///< EnumDisplayDevicesW, DeviceKey: its part from "system\" on, in lower case
    kEachValue,    ///< every value named \Device\Video0 and on, as a display's key
};

struct RegistryQuestion {
    HKEY root;
    KeyPlace place;
    const wchar_t* path;  ///< null where displays name the keys
    System system;
    /// A subkey without which a key is passed over, though nothing in it is read; null for none.
    const wchar_t* mark;
    std::vector<const wchar_t*> values;
    std::vector<Feed> feeds;  ///< empty: read without an effect on the report
};

/// Every registry value that the library reads.
const std::vector<RegistryQuestion>& RegistryQuestions();

}  // namespace orrery::machine
