// The entry procedure: one pass from start-up through the script run to
// teardown. The only place where the subsystems are wired together.
#pragma once

namespace corvane {

// Runs the program on its command line and yields the exit code.
int runCorvane(int argc, char** argv);

}  // namespace corvane
