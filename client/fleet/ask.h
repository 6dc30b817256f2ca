#pragma once

#include <optional>
#include <string>

#include "client/fleet/database.h"
#include "client/fleet/views.h"
#include "client/report/show.h"
#include "client/text/text_sink.h"

namespace orrery::fleet {

enum class AnswerForm {
    kCsv,   ///< as of RFC 4180, in UTF-8; unlike an empty text, NULL is not quoted
    kJson,  ///< an array of objects
};

/// Answers a question from the database, row by row.
/// @param bound in place of the view's usual one
void WriteAnswer(CDatabase& database, const View& view, const std::optional<std::string>& bound,
                 AnswerForm form, const TextSink& sink);

/// Answers a question as a table for people. Where it has to fit into lines of a length, values are shortened
/// and the columns come in parts, each with those of the machine.
void WriteTable(CDatabase& database, const View& view, const std::optional<std::string>& bound,
                const report::ShowStyle& style, const TextSink& sink);

/// How many volumes an answer leaves out since it is not known what drive they are on.
std::int64_t VolumesLeftOut(CDatabase& database, const View& view);

/// Adds a value to a row of CSV.
void AppendCsv(const Value& value, std::string* row);

}  // namespace orrery::fleet
