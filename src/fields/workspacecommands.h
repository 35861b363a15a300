// The commands of the six workspace lists: use, swap, name and dump for each
// family, and the global clear, clean, new and dump.
#pragma once

namespace corvane {

struct MacroEngine;

void registerWorkspaceCommands(MacroEngine& engine);

}  // namespace corvane
