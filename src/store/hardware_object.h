#pragma once

#include <utility>

#include "store/wide_string.h"

namespace orrery {

/// One fact of the inventory: the text that the report shows. An empty text is a fact like any
/// other.
class CHardwareObject {
public:
    CHardwareObject() noexcept = default;
    explicit CHardwareObject(WideString text) noexcept : value(std::move(text)) {}
    CHardwareObject(const CHardwareObject& other) noexcept = default;
    CHardwareObject& operator=(const CHardwareObject& other) noexcept = default;
    virtual ~CHardwareObject() = default;

    WideString value;
};

}  // namespace orrery
