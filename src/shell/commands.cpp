// Registration of every command family, one line a family, in start-up order.
#include "shell/commands.h"

#include "engine/diagnostics.h"
#include "libraries/general.h"

namespace corvane {

void registerAllCommands(MacroEngine& engine) {
    registerGeneralCommands(engine);
    registerDumpCommands(engine);
}

}  // namespace corvane
