#pragma once

#include <filesystem>
#include <string>

#include "client/text/text_sink.h"

namespace orrery {

/// Finds out whether a file may be written in place of what is at that path.
/// @param target  as the user typed it, in UTF-8; "-" is standard output, which may be written
/// @param source  the file that the command reads
/// @throws CommandError (kInput) when the target is the source, a folder, in none or without a name
void CheckOutputFile(const std::string& target, const std::filesystem::path& source);

/// Writes a file whole, as a CNewFile. A failure leaves an earlier file as it was, and nothing else in
/// its folder. What is no ordinary
/// file, such as "nul", "/dev/stdout" or a pipe, is written to directly.
/// @param target  as the user typed it, in UTF-8
/// @throws CommandError when it cannot be written: kInput without its folder, else kReport
void WriteOutputFile(const std::string& target, const TextSource& text);

}  // namespace orrery
