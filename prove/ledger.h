#pragma once

#include <map>
#include <mutex>
#include <string>
#include <utility>

namespace orrery::prove {

/// What a run can take from the system and has to give back.
enum class Resource {
    kKey,
    kHandle,
    kSid,
    kLibrary,
    kDesktop,
    kFile,
    kHeapBlock,
    kApartment,
    kIdentity,
    kSockets,
};

/// The resources that are held at the moment. May be used from any thread.
class Ledger {
public:
    void Take(Resource kind, const void* which);
    /// Notes an error when what is given back is a key, identifier, desktop or block not held.
    void Give(Resource kind, const void* which);

    /// What is held and what was given back once too often, in words; empty when all is well. The
    /// ledger starts afresh.
    std::string Settle();

private:
    std::mutex lock_;
    std::map<std::pair<Resource, const void*>, int> held_;
    std::string errors_;
};

}  // namespace orrery::prove
