#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "client/report/report.h"

namespace orrery::report {

class CPlaceholders;

/// Replaces values one by one and, once all of them are known, the names among them wherever else
/// they stand. See Redact for what is replaced.
class CRedactor {
public:
    CRedactor();
    ~CRedactor();
    CRedactor(const CRedactor&) = delete;
    CRedactor& operator=(const CRedactor&) = delete;

    /// Replaces the value of a property that identifies; keeps another one for Finish. The value
    /// stays where it is until then.
    /// @param section  as in the report, as is the property
    /// @return whether the property is one that identifies
    bool Take(std::string_view section, std::string_view property, std::string* value);
    /// The placeholder of a value that identifies; another one as it is. Nothing is kept for Finish.
    std::string Replaced(std::string_view section, std::string_view property,
                         const std::string& value);
    /// Keeps any other text for Finish.
    void TakeText(std::string* text) { texts_.push_back(text); }
    /// Replaces names in what was kept.
    void Finish();

private:
    std::unique_ptr<CPlaceholders> placeholders_;
    std::vector<std::string*> texts_;
};

/// Replaces what identifies the machine, its network or its people by stable placeholders.
///
/// Serial numbers, hardware and network addresses, names of wireless networks and the names of the
/// computer, its domain and its user become "serial-1", "mac-1", "ip-1", "ssid-1", "host-1",
/// "domain-1" and "user-1", numbered in the order in which the report's instances first have them.
/// Equal values get the same placeholder, that of the kind that comes first; letter case counts for
/// wireless networks only. Empty values and those that say nothing, such as "0.0.0.0", stay, and so
/// do network masks. A replaced name, serial number or address that stands as a whole word in another
/// property or in a warning is replaced there too.
void Redact(Report* report);

/// The same for two reports at once, so that what is equal in both is so afterwards.
void RedactTogether(Report* one, Report* other);

/// Whether a report has placeholders where others have what identifies a machine, and nothing else.
bool IsRedacted(const Report& report);

}  // namespace orrery::report
