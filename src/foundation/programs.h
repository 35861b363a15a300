// Sub-programs: finding a program by name and running it to its end.
#pragma once

#include <vector>

#include "foundation/text.h"

namespace corvane {

// Runs the program at `path` with the arguments (the program name itself is
// passed in front of them) and waits for it. Yields its exit code, 128 plus
// the signal number when a signal ended it, or -1 when it could not be
// started; that failure is reported through reportIoError.
int runProgram(const Text& path, const std::vector<ByteText>& arguments);

// Names ending ".exe" or ".com" yield the resolved "wine64". A bare name is
// looked for in the working directory, then in the system's bin and sbin
// directories; a name with a separator is taken as it stands. When nothing
// is found, "Possible wrong binary (" name ")!" is printed and the name
// comes back as given.
Text resolveProgram(const Text& name);

}  // namespace corvane
