// Path texts: normal form, message form and name parts.
#include "foundation/paths.h"

#include <utility>

#include "foundation/files.h"

namespace corvane {

namespace {

bool isSeparator(Char16 character) { return character == u'/' || character == u'\\'; }

// Characters from position to the end; empty behind the end.
Text tailFrom(const Text& text, std::int64_t position) {
    return text.copy(position, text.length() - position + 1);
}

// Position of the last '/' or '\', 0 when there is none.
std::int64_t lastSeparator(const Text& path) {
    for (std::int64_t position = path.length(); position >= 1; --position) {
        if (isSeparator(path.at(position))) return position;
    }
    return 0;
}

// One level cut from a directory at its last '/', or at its last '\' when
// it has no '/'; a directory without either has nothing left.
Text parentOf(const Text& directory) {
    std::int64_t cut = directory.findLast("/");
    if (cut == 0) cut = directory.findLast("\\");
    return directory.copy(1, cut - 1);
}

// Position of the '.' that starts the full extension of a file part, 0
// when there is none. ".gz" takes the extension before it along.
std::int64_t extensionDot(const Text& file) {
    std::int64_t dot = file.findLast(".");
    if (dot > 0 && tailFrom(file, dot).lowerCase() == Text(".gz")) {
        const std::int64_t before = file.findLastFrom(".", dot - 1);
        if (before > 0) dot = before;
    }
    return dot;
}

}  // namespace

Text normalizePath(Text path) {
    // Only the upward forms need the working directory.
    const bool upward = path.startsWith("..");
    return normalizePathFrom(std::move(path), upward ? currentDirectory() : Text());
}

Text normalizePathFrom(Text path, const Text& workingDirectory) {
    for (std::int64_t position = 1; position <= path.length(); ++position) {
        const Char16 character = path.at(position);
        if (character == 0) path.setAt(position, u'_');
        if (character == u'\\') path.setAt(position, u'/');
    }
    // The rest is taken from a fixed character on, whatever stands there,
    // so that "../x" keeps its '/' and ".." alone gives the parent itself.
    Text resolved;
    if (path.startsWith("../..")) {
        resolved = parentOf(parentOf(workingDirectory)) + tailFrom(path, 6);
    } else if (path.startsWith("..")) {
        resolved = parentOf(workingDirectory) + tailFrom(path, 3);
    } else {
        return path;
    }
    // Cutting "/top" leaves nothing; the parent is then the root.
    return resolved.empty() ? Text("/") : resolved;
}

Text shortenPath(const Text& path, std::int64_t limit) {
    const Text slashed = path.replaceAll("\\", "/");
    const std::int64_t length = slashed.length();
    if (length <= limit) return slashed;
    if (slashed.findChar(u'/') == 0) return slashed.copy(1, limit);

    // The first directory ends at the first '/' that follows a name
    // character, so that "/home/..." keeps "/home".
    std::int64_t headEnd = 0;
    for (std::int64_t position = 2; position <= length && headEnd == 0; ++position) {
        if (slashed.at(position) == u'/' && slashed.at(position - 1) != u'/') headEnd = position;
    }
    // The last part starts at the last '/' that is not part of a trailing run.
    std::int64_t nameEnd = length;
    while (nameEnd > 0 && slashed.at(nameEnd) == u'/') --nameEnd;
    std::int64_t tailStart = slashed.findLastFrom("/", nameEnd);
    if (headEnd == 0 || tailStart <= headEnd) return slashed;  // no middle to leave out

    const Text head = slashed.copy(1, headEnd - 1) + "/..";
    for (std::int64_t earlier = slashed.findLastFrom("/", tailStart - 1); earlier > headEnd;
         earlier = slashed.findLastFrom("/", earlier - 1)) {
        if (head.length() + length - earlier + 1 > limit) break;
        tailStart = earlier;
    }
    return head + tailFrom(slashed, tailStart);
}

Text directoryPart(const Text& path) { return path.copy(1, lastSeparator(path)); }

Text filePart(const Text& path) { return tailFrom(path, lastSeparator(path) + 1); }

Text fileNameWithoutExtension(const Text& path) {
    const Text file = filePart(path);
    const std::int64_t dot = extensionDot(file);
    return dot > 0 ? file.copy(1, dot - 1) : file;
}

Text fullExtension(const Text& path) {
    const Text file = filePart(path);
    const std::int64_t dot = extensionDot(file);
    return dot > 0 ? tailFrom(file, dot + 1) : Text();
}

Text lastExtension(const Text& path) {
    const Text file = filePart(path);
    const std::int64_t dot = file.findLast(".");
    return dot > 0 ? tailFrom(file, dot + 1) : Text();
}

Text formatExtension(const Text& path) {
    const Text file = filePart(path);
    const std::int64_t dot = file.findFirst(".");
    return dot > 0 ? tailFrom(file, dot + 1).lowerCase() : Text();
}

Text withFormatExtension(const Text& path, const Text& extension) {
    const Text file = filePart(path);
    const std::int64_t dot = file.findFirst(".");
    return directoryPart(path) + (dot > 0 ? file.copy(1, dot - 1) : file) + "." + extension;
}

Text replaceExtension(const Text& path, const Text& extension) {
    Text result = directoryPart(path) + fileNameWithoutExtension(path);
    const Text bare = extension.startsWith(".") ? tailFrom(extension, 2) : extension;
    if (!bare.empty()) result += "." + bare;
    return result;
}

}  // namespace corvane
