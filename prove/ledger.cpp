#include "prove/ledger.h"

namespace orrery::prove {
namespace {

const char* NameOf(Resource kind)
{
    switch (kind) {
        case Resource::kKey:
            return "registry key";
        case Resource::kHandle:
            return "handle";
        case Resource::kSid:
            return "security identifier";
        case Resource::kLibrary:
            return "library";
        case Resource::kDesktop:
            return "desktop";
        case Resource::kFile:
            return "file";
        case Resource::kHeapBlock:
            return "heap block";
        case Resource::kApartment:
            return "apartment";
        case Resource::kIdentity:
            return "borrowed identity";
        case Resource::kSockets:
            return "socket session";
    }
    return "";
}

/// The C runtime gives back handles of its own, and an own identity may be asked for twice.
bool IsAlwaysTaken(Resource kind)
{
    return kind != Resource::kHandle && kind != Resource::kIdentity && kind != Resource::kLibrary;
}

}  // namespace

void Ledger::Take(Resource kind, const void* which)
{
    const std::lock_guard hold{lock_};
    if (const int count = ++held_[{kind, which}]; kind == Resource::kIdentity && count > 1)
        held_[{kind, which}] = 1;  // a second identity takes the place of the first
}

void Ledger::Give(Resource kind, const void* which)
{
    const std::lock_guard hold{lock_};
    const auto entry = held_.find({kind, which});
    if (entry != held_.end()) {
        if (--entry->second == 0)
            held_.erase(entry);
    } else if (IsAlwaysTaken(kind) && which != nullptr) {
        errors_ += std::string{"; a "} + NameOf(kind) + " given back that was not held";
    }
}

std::string Ledger::Settle()
{
    const std::lock_guard hold{lock_};
    std::string text = std::exchange(errors_, {});
    std::map<Resource, int> left;
    for (const auto& [what, count] : std::exchange(held_, {}))
        left[what.first] += count;
    for (const auto& [kind, count] : left)
        text += "; " + std::to_string(count) + " " + NameOf(kind) + " left";
    return text;
}

}  // namespace orrery::prove
