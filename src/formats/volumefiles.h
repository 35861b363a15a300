// Volume file commands of the scalar, vector and tensor families.
#pragma once

namespace corvane {

struct MacroEngine;

// load, load.nii and the other names, load.properties, load.framework,
// save and info under scalar., vector. and tensor.
void registerVolumeFileCommands(MacroEngine& engine);

}  // namespace corvane
