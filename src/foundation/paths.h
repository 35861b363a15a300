// Path texts: the normal form every file operation works on, the short form
// used in messages, and the directory, file and extension parts of a name.
#pragma once

#include <cstdint>

#include "foundation/text.h"

namespace corvane {

// Names in report lines are cut to this many characters.
constexpr std::int64_t messagePathLength = 60;

// Character 0 becomes '_', '\' becomes '/', and a leading "../.." or ".."
// is resolved against the working directory. Other paths stay as they are.
Text normalizePath(Text path);
// The same against a given directory instead of the working one.
Text normalizePathFrom(Text path, const Text& workingDirectory);

// Message form of a path: separators made '/', and above the limit the
// first directory, "/../" and as many trailing parts as fit; at least the
// last part, so the result may exceed the limit. A text without separator
// is cut at the limit.
Text shortenPath(const Text& path, std::int64_t limit = messagePathLength);

// Name parts; '/' and '\' both count as separators.
// Up to and including the last separator; empty when there is none.
Text directoryPart(const Text& path);
// Behind the last separator.
Text filePart(const Text& path);
// File part up to its last '.', and for ".gz" up to the '.' before that:
// "a.b.nii.gz" gives "a.b".
Text fileNameWithoutExtension(const Text& path);
// Behind that point: "nii.gz"; empty when the file part has no '.'.
Text fullExtension(const Text& path);
// Behind the last '.' of the file part: "gz".
Text lastExtension(const Text& path);
// The format rule of loads and saves: the text behind the first '.' of the
// file part, lower-cased, so "./data/x.nii.gz" gives "nii.gz"; empty when
// the file part has no '.'.
Text formatExtension(const Text& path);
// Directory part and file part up to that first '.', then the extension
// given (without its '.'): "a.nii" with "hdr" gives "a.hdr".
Text withFormatExtension(const Text& path, const Text& extension);
// Directory part, file name without extension, '.', the new extension; the
// extension may come with or without its leading '.', and an empty one
// leaves the name without any.
Text replaceExtension(const Text& path, const Text& extension);

}  // namespace corvane
