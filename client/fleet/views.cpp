#include "client/fleet/views.h"

#include <algorithm>
#include <array>
#include <utility>

#include "client/fleet/history.h"

namespace orrery::fleet {
namespace {

constexpr auto kViews = std::to_array<View>({
    {"pc", "every PC: what it is, and when it was first and last seen",
     "machine, name, serial, maker, model, system, version, memory_mib, processor, first_seen, "
     "last_seen, identity",
     "name, machine"},
    {"windows11", "which PCs can take Windows 11, and what is in the way of the others",
     "machine, name, serial, tpm, secure_boot, memory, firmware, verdict, processor",
     "name, machine"},
    {"disk_low", "fixed volumes with less than 10 % free, or as --below says",
     "machine, name, serial, volume, free_mib, size_mib, free_percent",
     "free_percent, name, machine, volume", "disk_free", "free_percent < %", "below", true},
    {"bitlocker_off", "fixed volumes that BitLocker does not protect, or may not",
     "machine, name, serial, volume, status", "name, machine, volume", "", "", "", true},
    {"memory_slots_free", "PCs with free memory slots",
     "machine, name, serial, slots, modules, free", "free DESC, name, machine"},
    {"placeholder_serials", "PCs whose firmware holds what nobody filled in",
     "machine, name, serial, property, value", "name, machine, property"},
    {"changed_since", "what changed, since a day where --since names one",
     "machine, name, serial, day, section, label, property, before, after",
     "day, name, machine, section, label, property", "changed_since", "day >= %", "since"},
    {"stale", "PCs that have not reported for 30 days, or as --days says",
     "machine, name, serial, last_seen, days", "days DESC, name, machine", "machine_age",
     "days >= %", "days"},
    {"slow_categories", "how long each category takes over the fleet, and where the longest",
     "category, machines, median_ms, p95_ms, p99_ms, slowest", "p95_ms DESC, category"},
    {"conflicts", "PCs that are hard to tell from another one",
     "machine, name, serial, other, reason, advice", "name, machine, other"},
});

/// What the views are built of and the views themselves, in this order. In capitals and braces stands
/// what the engines spell differently.
constexpr std::pair<std::string_view, std::string_view> kStatements[] = {
    {"collected", R"(
SELECT c.machine, c.section, c.digest, {TIME c.since} AS since,
  COALESCE({TIME c.seen}, {TIME m.last_seen}) AS seen, c.complete, c.rights, c.empty
FROM collected_section c JOIN machine m ON m.machine = c.machine)"},

    {"pc", R"(
SELECT m.machine, m.name, m.serial, m.maker, m.model, o.caption AS system, o.version,
  y.capacity AS memory_mib, p.name AS processor, {TIME m.first_seen} AS first_seen,
  {TIME m.last_seen} AS last_seen, m.identity
FROM machine m
LEFT JOIN operating_system o ON o.machine = m.machine AND o.instance = 0 AND o.valid_to IS NULL
LEFT JOIN physical_memory y ON y.machine = m.machine AND y.instance = 0 AND y.valid_to IS NULL
LEFT JOIN processor p ON p.machine = m.machine AND p.instance = 0 AND p.valid_to IS NULL)"},

    {"windows11_requirement", R"(
SELECT m.machine, m.name, m.serial,
  CASE WHEN {VERSION s.tpm_chip} >= 2 THEN
         CASE WHEN s.tpm_enabled IS NULL THEN 'unknown' WHEN {TRUE s.tpm_enabled} THEN 'yes' ELSE 'off' END
       WHEN {VERSION s.tpm_chip} > 0 THEN 'no'
       WHEN s.machine IS NOT NULL AND c.machine IS NOT NULL THEN 'no'
       ELSE 'unknown' END AS tpm,
  CASE s.secure_boot WHEN 1 THEN 'yes' WHEN 0 THEN 'off' WHEN 2 THEN 'no' ELSE 'unknown' END
    AS secure_boot,
  CASE WHEN y.capacity >= 4096 THEN 'yes' WHEN y.capacity < 4096 THEN 'no' ELSE 'unknown' END AS memory,
  CASE s.secure_boot WHEN 1 THEN 'yes' WHEN 0 THEN 'yes' WHEN 2 THEN 'no' ELSE 'unknown' END AS firmware,
  p.name AS processor
FROM machine m
LEFT JOIN system_overview s ON s.machine = m.machine AND s.instance = 0 AND s.valid_to IS NULL
LEFT JOIN collected_section c ON c.machine = m.machine AND c.section = 'SystemOverview'
  AND c.rights IN ('LocalSystem', 'administrator')
LEFT JOIN physical_memory y ON y.machine = m.machine AND y.instance = 0 AND y.valid_to IS NULL
LEFT JOIN processor p ON p.machine = m.machine AND p.instance = 0 AND p.valid_to IS NULL)"},

    {"windows11", R"(
SELECT machine, name, serial, tpm, secure_boot, memory, firmware,
  CASE WHEN 'no' IN (tpm, secure_boot, memory, firmware) THEN 'no'
       WHEN 'unknown' IN (tpm, secure_boot, memory, firmware) THEN 'unknown'
       WHEN 'off' IN (tpm, secure_boot, memory, firmware) THEN 'off'
       ELSE 'yes' END AS verdict, processor
FROM windows11_requirement)"},

    {"volume_of_no_drive", R"(
SELECT v.machine, v.device_id AS volume FROM logical_disk v
WHERE v.valid_to IS NULL AND NOT EXISTS (
  SELECT 1 FROM disk_drive d WHERE d.machine = v.machine AND d.valid_to IS NULL
    AND v.device_id <> '' AND {POSITION d.logical_disks v.device_id} > 0))"},

    {"disk_free", R"(
SELECT m.machine, m.name, m.serial, v.device_id AS volume, n.free_space AS free_mib, v.size AS size_mib,
  CASE WHEN n.free_space >= v.size THEN 100
       WHEN v.size > 90000000000000000 THEN n.free_space / (v.size / 100)
       ELSE n.free_space * 100 / v.size END AS free_percent
FROM logical_disk v JOIN machine m ON m.machine = v.machine
JOIN logical_disk_now n ON n.machine = v.machine AND n.instance = v.instance
WHERE v.valid_to IS NULL AND v.size > 0 AND n.free_space >= 0 AND v.device_id <> '' AND EXISTS (
  SELECT 1 FROM disk_drive d WHERE d.machine = v.machine AND d.valid_to IS NULL
    AND {START d.media_type Fixed} AND {POSITION d.logical_disks v.device_id} > 0))"},

    {"disk_low", "SELECT * FROM disk_free WHERE free_percent < 10"},

    {"bitlocker_off", R"(
SELECT m.machine, m.name, m.serial, v.device_id AS volume,
  CASE v.bit_locker_status WHEN 1 THEN 'off' ELSE 'unknown' END AS status
FROM logical_disk v JOIN machine m ON m.machine = v.machine
WHERE v.valid_to IS NULL AND (v.bit_locker_status IS NULL OR v.bit_locker_status NOT IN (3, 7))
  AND v.device_id <> '' AND EXISTS (
    SELECT 1 FROM disk_drive d WHERE d.machine = v.machine AND d.valid_to IS NULL
      AND {START d.media_type Fixed} AND {POSITION d.logical_disks v.device_id} > 0))"},

    {"memory_slots", R"(
SELECT machine, MAX(memory_slots) AS slots,
  SUM(CASE WHEN capacity IS NOT NULL OR device_locator IS NOT NULL OR memory_type IS NOT NULL
    OR speed IS NOT NULL THEN 1 ELSE 0 END) AS modules
FROM physical_memory_location WHERE valid_to IS NULL GROUP BY machine)"},

    {"memory_slots_free", R"(
SELECT m.machine, m.name, m.serial, s.slots, s.modules, s.slots - s.modules AS free
FROM memory_slots s JOIN machine m ON m.machine = s.machine WHERE s.modules > 0 AND s.slots > s.modules)"},

    {"placeholder_serials", R"(
SELECT m.machine, m.name, m.serial, p.property, p.value
FROM machine_placeholder p JOIN machine m ON m.machine = p.machine)"},

    {"changed_since", R"(
SELECT m.machine, m.name, m.serial, {DAY c.day} AS day, c.section, c.label, c.property, c.before, c.after
FROM change c JOIN machine m ON m.machine = c.machine)"},

    {"machine_age", R"(
SELECT machine, name, serial, {TIME last_seen} AS last_seen, {AGE last_seen} AS days FROM machine)"},

    {"stale", "SELECT * FROM machine_age WHERE days >= 30"},

    // In a whole report each category has its place, and numbers are counted faster than names.
    {"slow_categories", R"(
SELECT e.category, r.machines, r.median_ms, r.p95_ms, r.p99_ms, m.name AS slowest
FROM (
  SELECT place, MAX(machines) AS machines,
    MIN(CASE WHEN upto >= (machines * 50 + 99) / 100 THEN milliseconds END) AS median_ms,
    MIN(CASE WHEN upto >= (machines * 95 + 99) / 100 THEN milliseconds END) AS p95_ms,
    MIN(CASE WHEN upto >= (machines * 99 + 99) / 100 THEN milliseconds END) AS p99_ms,
    MAX(CASE WHEN upto = machines THEN machine END) AS machine
  FROM (
    SELECT place, milliseconds, machine,
      CAST(SUM(times) OVER (PARTITION BY place ORDER BY milliseconds) AS BIGINT) AS upto,
      CAST(SUM(times) OVER (PARTITION BY place) AS BIGINT) AS machines
    FROM (
      SELECT place, milliseconds, CAST(COUNT(*) AS INTEGER) AS times, MIN(machine) AS machine
      FROM elapsed
      WHERE complete AND category <> '' AND milliseconds IS NOT NULL
      GROUP BY place, milliseconds) counted) ranked
  GROUP BY place) r JOIN machine m ON m.machine = r.machine
JOIN elapsed e ON e.machine = r.machine AND e.place = r.place)"},

    {"conflicts", R"(
SELECT m.machine, m.name, m.serial, c.other, c.reason,
  CASE c.reason
    WHEN 'serial' THEN 'Both tell one maker and serial number: compare the labels on the cases, and have the wrong one corrected in its firmware'
    ELSE 'Both tell one UUID: one may be a copy of the other or its board shipped so; give one a new UUID in its firmware or virtual machine' END
    AS advice
FROM machine_conflict c JOIN machine m ON m.machine = c.machine)"},
};

/// An expression that the engines spell differently.
std::string Spelled(Engine engine, const std::string& word, const std::string& one,
                    const std::string& other)
{
    const bool isServer = engine == Engine::kPostgres;
    if (word == "TIME")
        return TimeText(engine, one);
    if (word == "DAY")
        return isServer ? "to_char(" + one + ", 'YYYY-MM-DD')" : one;
    if (word == "TRUE")
        return isServer ? one : one + " <> 0";
    // A server knows how many rows begin so, and SQLite's LIKE does not tell capitals apart.
    if (word == "START")
        return isServer ? one + " LIKE '" + other + "%'"
                        : "substr(" + one + ", 1, " + std::to_string(other.size()) + ") = '" +
                              other + '\'';
    if (word == "POSITION")  // "C:" in "C:|D:|"
        return std::string{isServer ? "strpos" : "instr"} + "('|' || " + one + ", '|' || " + other +
               " || '|')";
    // What nearly all chips say is not taken apart each time a row is judged by it.
    if (word == "VERSION")
        return isServer ? "CASE " + one +
                              " WHEN '2.0' THEN 2.0 WHEN '1.2' THEN 1.2 WHEN '' THEN NULL ELSE "
                              "CAST(substring(" +
                              one + " FROM '^ *[0-9]{1,9}(?:[.][0-9]{1,9})?') AS NUMERIC) END"
                        : "CAST(" + one + " AS REAL)";
    // A PC whose clock is ahead was seen today.
    return isServer ? "CAST(trunc(extract(epoch FROM now() - " + one + ") / 86400) AS BIGINT)"
                    : "(CAST(strftime('%s', 'now') AS INTEGER) - CAST(strftime('%s', " + one +
                          ") AS INTEGER)) / 86400";
}

std::string InEngine(Engine engine, std::string_view text)
{
    std::string result;
    for (std::size_t begin = 0; begin < text.size();) {
        const std::size_t open = text.find('{', begin);
        const std::size_t close = open == std::string_view::npos ? open : text.find('}', open);
        result += text.substr(begin, open - begin);
        if (close == std::string_view::npos)
            break;
        const std::string_view inside = text.substr(open + 1, close - open - 1);
        const std::size_t first = inside.find(' '), second = inside.find(' ', first + 1);
        result +=
            Spelled(engine, std::string{inside.substr(0, first)},
                    std::string{inside.substr(first + 1, second - first - 1)},
                    second == std::string_view::npos ? std::string{}
                                                     : std::string{inside.substr(second + 1)});
        begin = close + 1;
    }
    return result;
}

}  // namespace

std::span<const View> Views() noexcept
{
    return kViews;
}

const View* FindView(std::string_view name) noexcept
{
    const auto found = std::ranges::find(kViews, name, &View::name);
    return found != kViews.end() ? &*found : nullptr;
}

std::string ViewStatements(Engine engine)
{
    std::string statements;
    for (const auto& [name, query] : kStatements) {
        const std::string view{name};
        // A server's users may have views of their own upon these, which have to stay.
        statements += engine == Engine::kPostgres
                          ? "CREATE OR REPLACE VIEW " + view + " AS"
                          : "DROP VIEW IF EXISTS " + view + ";CREATE VIEW " + view + " AS ";
        statements += ' ' + InEngine(engine, query) + ";\n";
    }
    return statements;
}

}  // namespace orrery::fleet
