// Registration of every command family, one line a family, in start-up order.
#include "shell/commands.h"

#include "engine/diagnostics.h"
#include "fields/fieldcommands.h"
#include "fields/labels.h"
#include "fields/workspacecommands.h"
#include "formats/imagefiles.h"
#include "formats/volumefiles.h"
#include "libraries/clock.h"
#include "libraries/general.h"
#include "libraries/maths.h"
#include "libraries/stack.h"

namespace corvane {

void registerAllCommands(MacroEngine& engine) {
    registerGeneralCommands(engine);
    registerTimeCommands(engine);
    registerStackCommands(engine);
    registerMathsCommands(engine);
    registerDumpCommands(engine);
    registerWorkspaceCommands(engine);
    registerFieldCommands(engine);
    registerLabelCommands(engine);
    registerImageFormatCommands(engine);
    registerVolumeFileCommands(engine);
}

}  // namespace corvane
