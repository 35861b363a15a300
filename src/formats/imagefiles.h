// Image files: the load and save dispatch by kind and extension, volumes
// saved slice by slice as images, and the commands image.load, image.load*,
// image.save and the codec switches imagemagick.* and freeimage.*.
#pragma once

#include "fields/fieldrecords.h"
#include "foundation/text.h"

namespace corvane {

struct MacroEngine;

// Whether the codec adapters may be tried; the switch commands set them.
// The adapters themselves read them when present.
struct CodecSwitches {
    bool freeImage = true;
    bool imageMagick = true;
};
extern CodecSwitches codecSwitches;

// Prints "Read file (" name ")." and loads by the file's format extension
// into the image's own kind: PNM forms and BMP for all four kinds, IMGF for
// gray and fullgray, the RGB file for rgb and rgba. Anything else prints
// "  Couldn't read File (" name ")! Create empty field."; every failure
// leaves the image empty, named after the file.
void loadImageFile(ImageField& image, const Text& fileName);

// Saves by the format extension and the image's kind; an extension the
// kind has no writer for goes to the PNG writer, which adds ".png". True
// when a file was put in place.
bool saveImageFile(const ImageField& image, const Text& fileName);

// One image per z slice, through an image of the matching kind (mono and
// gray volumes give gray images holding the voxel values, fullgray ones
// fullgray), saved as saveImageFile does under the name directory + base +
// "_" + the slice number padded with "0" to the digits of the z size + "."
// + the extension as written: "out/head.png" of 120 slices gives
// "out/head_001.png" to "out/head_120.png".
void saveVolumeSlices(const ScalarField& volume, const Text& fileName);

void registerImageFormatCommands(MacroEngine& engine);

}  // namespace corvane
