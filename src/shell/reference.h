// The command reference: one example line per command, grouped by family,
// and the first-run macro file written from it.
#pragma once

#include <span>

#include "foundation/text.h"

namespace corvane {

struct ReferenceLine {
    const char* command;  // registered name
    const char* example;  // a macro line that uses it
    const char* help;     // what it does, in a few words
};

std::span<const ReferenceLine> commandReference();

// The first-run macro: a help text that is also a valid macro file. Yields
// false, silently, when the file can't be written.
bool writeFirstRunMacro(const Text& path, const Text& version);

}  // namespace corvane
