// Sub-programs: search by name, start with posix_spawn, wait with waitpid.
#include "foundation/programs.h"

#include <cerrno>
#include <spawn.h>
#include <sys/wait.h>

#include "foundation/console.h"
#include "foundation/files.h"
#include "foundation/paths.h"

extern char** environ;

namespace corvane {

namespace {

// Searched in this order after the working directory.
constexpr const char* programDirectories[] = {"/bin/",  "/usr/bin/",  "/usr/local/bin/",
                                              "/sbin/", "/usr/sbin/", "/usr/local/sbin/"};

}  // namespace

int runProgram(const Text& path, const std::vector<ByteText>& arguments) {
    const ByteText program = path.toUtf8();
    std::vector<char*> argumentList;
    argumentList.reserve(arguments.size() + 2);
    argumentList.push_back(const_cast<char*>(program.c_str()));
    for (const ByteText& argument : arguments) argumentList.push_back(const_cast<char*>(argument.c_str()));
    argumentList.push_back(nullptr);

    // The child shares the console; what stands in our buffers goes first.
    flushOutput();
    pid_t child = 0;
    const int error = ::posix_spawn(&child, program.c_str(), nullptr, nullptr, argumentList.data(), environ);
    if (error != 0) {
        setIoResult(dosCodeForPath(error, normalizePath(path)));
        reportIoError(shortenPath(path));
        return -1;
    }
    // waitpid sleeps in the kernel until the child ends.
    int status = 0;
    while (::waitpid(child, &status, 0) < 0) {
        if (errno != EINTR) return -1;
    }
    if (WIFEXITED(status)) return WEXITSTATUS(status);
    if (WIFSIGNALED(status)) return 128 + WTERMSIG(status);
    return -1;
}

Text resolveProgram(const Text& name) {
    const Text extension = lastExtension(name).lowerCase();
    if (extension == Text("exe") || extension == Text("com")) return resolveProgram("wine64");

    const Text path = normalizePath(name);
    if (fileExists(path)) return path;
    if (!path.empty() && directoryPart(path).empty()) {
        for (const char* directory : programDirectories) {
            const Text candidate = directory + path;
            if (fileExists(candidate)) return candidate;
        }
    }
    writeColoredLine(("Possible wrong binary (" + name + ")!").toUtf8(), ConsoleColor::red);
    return name;
}

}  // namespace corvane
