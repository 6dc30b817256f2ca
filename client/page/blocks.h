#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "client/page/markup.h"
#include "client/report/facts.h"
#include "client/report/report.h"
#include "client/text/phrases.h"
#include "client/text/text_sink.h"

namespace orrery::page {

// The parts of the page. Each is empty when the report has nothing for it.
CMarkup SummaryCards(const report::Report& report);
CMarkup StorageBlock(const report::Report& report);
CMarkup MemoryBlock(const report::Report& report);
CMarkup NetworkBlock(const report::Report& report);
CMarkup DetailsBlock(const report::Report& report);
CMarkup ElapsedBlock(const report::Report& report);
/// Writes the last part, fact by fact, since it has all of them.
void WriteAllFacts(const report::Report& report, const TextSink& sink);

// What the parts share.

using report::FirstValue;
using report::InstancesOf;
using report::Number;
using report::Readable;
using report::Value;

/// A number as the value of a property in its unit; empty without one.
std::string ReadableNumber(std::string_view section, std::string_view property,
                           std::optional<std::int64_t> number);
/// The speed of a network adapter, such as "1 Gbit/s"; empty when it has none at present.
std::string SpeedText(const report::Instance& adapter);
/// "1.5 GiB" for 1536.
std::string SizeText(std::int64_t mebibytes);
/// The texts that are not empty, in one line.
std::string Listed(const std::vector<std::string>& texts);

/// A word on a coloured ground; `kind` is good, warn, bad or empty.
CMarkup Chip(const char* kind, std::string_view text);
/// A term and what it stands for, as a row of a definition list; nothing for an empty value.
CMarkup Definition(std::string_view term, std::string_view value);
/// A part of the page with its heading; nothing without content.
CMarkup Block(const char* heading, const CMarkup& content);

}  // namespace orrery::page
