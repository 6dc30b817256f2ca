#pragma once

#include "client/doctor/findings.h"

namespace orrery::doctor {

// How people and programs read the findings' values.

constexpr const char* InWords(Rights rights)
{
    switch (rights) {
        case Rights::kUser:
            return "user";
        case Rights::kAdministrator:
            return "administrator";
        case Rights::kLocalSystem:
            return "LocalSystem";
        case Rights::kNotKnown:
            break;
    }
    return "not known";
}

constexpr const char* InWords(ServiceState state)
{
    switch (state) {
        case ServiceState::kRunning:
            return "running";
        case ServiceState::kStopped:
            return "stopped";
        case ServiceState::kDisabled:
            return "disabled";
        case ServiceState::kMissing:
            return "not installed";
        case ServiceState::kNotKnown:
            break;
    }
    return "not known";
}

constexpr const char* InWords(Asking asking)
{
    switch (asking) {
        case Asking::kClass:
            return "class";
        case Asking::kQuery:
            return "query";
        case Asking::kMethod:
            break;
    }
    return "method";
}

constexpr const char* InWords(Ending ending)
{
    switch (ending) {
        case Ending::kAnswered:
            return "answered";
        case Ending::kFailed:
            return "failed";
        case Ending::kNoAnswer:
            return "no answer";
        case Ending::kNotAsked:
            break;
    }
    return "not asked";
}

constexpr const char* InWords(Without without)
{
    switch (without) {
        case Without::kEmpty:
            return "empty";
        case Without::kZero:
            return "0";
        case Without::kStandIn:
            return "stand-in";
        case Without::kLeftOut:
            break;
    }
    return "left out";
}

}  // namespace orrery::doctor
