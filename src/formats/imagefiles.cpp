// Image file dispatch and the image.load, image.loadpnm, image.loadbmp,
// image.loadimgf, image.loadrgb, image.loadraw, image.save, imagemagick.*
// and freeimage.* commands.
#include "formats/imagefiles.h"

#include <cstring>

#include "engine/parameters.h"
#include "engine/registry.h"
#include "fields/workspaces.h"
#include "formats/bmp.h"
#include "formats/imagecommon.h"
#include "formats/imgf.h"
#include "formats/png.h"
#include "formats/pnm.h"
#include "formats/rgbfile.h"
#include "formats/tga.h"
#include "formats/tiff.h"
#include "foundation/console.h"
#include "foundation/numbers.h"
#include "foundation/paths.h"

namespace corvane {

CodecSwitches codecSwitches;

namespace {

// ---- the format table ------------------------------------------------------------

using Loader = void (*)(ImageField&, const Text&);
using Saver = bool (*)(const ImageField&, const Text&);

// Which kinds a row serves.
enum KindGroups : unsigned { noKinds = 0, grayKinds = 1, colourKinds = 2, allKinds = 3 };

// One row an extension: who loads it and for which kinds, who saves it and
// for which kinds.
struct ImageFormat {
    const char* extension;
    Loader load;
    unsigned loadKinds;
    Saver save;
    unsigned saveKinds;
};

void loadPnmPlain(ImageField& image, const Text& name) { loadPnm(image, name, false); }
void loadPnmGzip(ImageField& image, const Text& name) { loadPnm(image, name, true); }
bool savePgmPlain(const ImageField& image, const Text& name) { return savePgm(image, name, false); }
bool savePgmGzip(const ImageField& image, const Text& name) { return savePgm(image, name, true); }
bool savePbmPlain(const ImageField& image, const Text& name) { return savePbm(image, name, false); }
bool savePbmGzip(const ImageField& image, const Text& name) { return savePbm(image, name, true); }
bool savePpmPlain(const ImageField& image, const Text& name) { return savePpm(image, name, false); }
bool savePpmGzip(const ImageField& image, const Text& name) { return savePpm(image, name, true); }
bool savePamPlain(const ImageField& image, const Text& name) { return savePam(image, name, false); }
bool savePamGzip(const ImageField& image, const Text& name) { return savePam(image, name, true); }

constexpr ImageFormat imageFormats[] = {
    {"pbm",    loadPnmPlain, allKinds,    savePbmPlain, colourKinds},
    {"pgm",    loadPnmPlain, allKinds,    savePgmPlain, allKinds},
    {"ppm",    loadPnmPlain, allKinds,    savePpmPlain, colourKinds},
    {"pnm",    loadPnmPlain, allKinds,    savePpmPlain, colourKinds},
    {"pbm.gz", loadPnmGzip,  allKinds,    savePbmGzip,  colourKinds},
    {"pgm.gz", loadPnmGzip,  allKinds,    savePgmGzip,  allKinds},
    {"ppm.gz", loadPnmGzip,  allKinds,    savePpmGzip,  colourKinds},
    {"pnm.gz", loadPnmGzip,  allKinds,    savePpmGzip,  colourKinds},
    {"pam",    nullptr,      noKinds,     savePamPlain, colourKinds},
    {"pam.gz", nullptr,      noKinds,     savePamGzip,  colourKinds},
    {"bmp",    loadBmp,      allKinds,    saveBmp,      colourKinds},
    {"dib",    loadBmp,      allKinds,    saveBmp,      colourKinds},
    {"fro",    loadImgf,     grayKinds,   nullptr,      noKinds},
    {"fre",    loadImgf,     grayKinds,   nullptr,      noKinds},
    {"pd",     loadImgf,     grayKinds,   nullptr,      noKinds},
    {"t1",     loadImgf,     grayKinds,   nullptr,      noKinds},
    {"t2",     loadImgf,     grayKinds,   nullptr,      noKinds},
    {"imgf",   loadImgf,     grayKinds,   nullptr,      noKinds},
    {"rgb",    loadRgbFile,  colourKinds, saveRgbFile,  colourKinds},
    {"tga",    nullptr,      noKinds,     saveTga,      colourKinds},
    {"tif",    nullptr,      noKinds,     saveTiff,     allKinds},
    {"tiff",   nullptr,      noKinds,     saveTiff,     allKinds},
    {"png",    nullptr,      noKinds,     savePng,      allKinds},
};

// An extension no row names, or one whose row has no writer for the kind.
constexpr Saver defaultSaver = savePng;

const ImageFormat* formatOf(const Text& fileName) {
    const Text extension = formatExtension(fileName);
    for (const ImageFormat& format : imageFormats) {
        if (extension == format.extension) return &format;
    }
    return nullptr;
}

// zrgb saves its colour planes through the colour writers; it has no loader.
unsigned groupOf(VoxelKind kind) {
    if (isGrayImageKind(kind)) return grayKinds;
    if (isColourImageKind(kind) || kind == VoxelKind::imageZrgb) return colourKinds;
    return noKinds;
}

}  // namespace

void loadImageFile(ImageField& image, const Text& fileName) {
    writeTextLine("Read file (" + fileName + ").");
    // The codec adapters, FreeImage first, then ImageMagick, are tried here
    // when their libraries are present and switched on; none is linked yet.
    if (!isGrayImageKind(image.kind) && !isColourImageKind(image.kind)) {
        writeLine("Unknown imagefield!");
        emptyImage(image, fileName);
        return;
    }
    const ImageFormat* format = formatOf(fileName);
    if (format == nullptr || format->load == nullptr || (format->loadKinds & groupOf(image.kind)) == 0) {
        reportUnreadableImage(fileName);
        emptyImage(image, fileName);
        return;
    }
    format->load(image, fileName);
}

bool saveImageFile(const ImageField& image, const Text& fileName) {
    const ImageFormat* format = formatOf(fileName);
    if (format != nullptr && format->save != nullptr && (format->saveKinds & groupOf(image.kind)) != 0) {
        return format->save(image, fileName);
    }
    return defaultSaver(image, fileName);
}

namespace {

// Slice z (from 0) of a volume into an image of its size.
void copySlice(const ScalarPayload& volume, std::int64_t z, ImagePayload& image) {
    const std::int64_t n = volume.sizeX;
    for (std::int64_t y = 1; y <= volume.sizeY; ++y) {
        switch (volume.kind) {
            case VoxelKind::scalarMono: {
                const std::uint64_t* words = volume.monoRow(y, z + 1);
                std::uint8_t* out = image.plane<std::uint8_t>(0) + (y - 1) * n;
                for (std::int64_t x = 0; x < n; ++x) out[x] = static_cast<std::uint8_t>((words[x >> 6] >> (x & 63)) & 1);
                break;
            }
            case VoxelKind::scalarGray:
                std::memcpy(image.plane<std::uint8_t>(0) + (y - 1) * n, volume.row<std::uint8_t>(y, z + 1),
                            static_cast<std::size_t>(n));
                break;
            default:
                std::memcpy(image.plane<std::uint16_t>(0) + (y - 1) * n, volume.row<std::uint16_t>(y, z + 1),
                            static_cast<std::size_t>(n) * 2);
                break;
        }
    }
}

}  // namespace

void saveVolumeSlices(const ScalarField& volume, const Text& fileName) {
    if (!hasPayload(volume)) return;
    const ScalarPayload& v = *volume.payload;
    if (v.sizeX <= 0 || v.sizeY <= 0 || v.sizeZ <= 0 || !v.voxels.isAllocated()) return;
    ImageField slice;
    newField(slice, v.kind == VoxelKind::scalarFullgray ? VoxelKind::imageFullgray : VoxelKind::imageGray, v.sizeX,
             v.sizeY);
    if (!hasPayload(slice) || slice.payload->sizeX != v.sizeX) return;
    slice.geometry = volume.geometry;
    slice.name = volume.name;

    // The parts of the name by the format rule: behind the first dot of the file part.
    const Text file = filePart(fileName);
    const std::int64_t dot = file.findFirst(".");
    const Text base = directoryPart(fileName) + (dot > 0 ? file.copy(1, dot - 1) : file);
    const Text extension = dot > 0 ? "." + file.copy(dot + 1, file.length() - dot) : Text();
    const std::int64_t digits = integerToText(v.sizeZ).length();
    for (std::int64_t z = 0; z < v.sizeZ; ++z) {
        copySlice(v, z, *slice.payload);
        saveImageFile(slice, base + "_" + integerToText(z + 1).padLeft(digits, '0') + extension);
    }
}

namespace {

// ---- commands ---------------------------------------------------------------------

// The image in use, made anew in the default kind: every load starts so.
ImageField* imageForLoad() {
    ImageField* image = workspaces.images.current();
    if (image != nullptr) newField(*image, defaultKinds.image);
    return image;
}

bool gzipName(const Text& fileName) {
    const Text extension = formatExtension(fileName);
    return extension == "gz" || extension.endsWith(".gz");
}

// image.load <file>
void imageLoad(MacroEngine& engine) {
    if (parameterCount(engine) != 1) {
        errorCountExact(engine, 1);
        return;
    }
    if (ImageField* image = imageForLoad()) loadImageFile(*image, parameterOrEmpty(engine, 1));
}

// One loader of its own, no adapters.
void loadWith(MacroEngine& engine, Loader load) {
    if (parameterCount(engine) != 1) {
        errorCountExact(engine, 1);
        return;
    }
    if (ImageField* image = imageForLoad()) load(*image, parameterOrEmpty(engine, 1));
}

// image.loadbmp <file>
void imageLoadbmp(MacroEngine& engine) { loadWith(engine, loadBmp); }
// image.loadimgf <file>: gray and fullgray only
void imageLoadimgf(MacroEngine& engine) { loadWith(engine, loadImgf); }
// image.loadrgb <file>: rgb and rgba only
void imageLoadrgb(MacroEngine& engine) { loadWith(engine, loadRgbFile); }

// image.loadpnm <file>: gzip when the name ends in ".gz"
void imageLoadpnm(MacroEngine& engine) {
    if (parameterCount(engine) != 1) {
        errorCountExact(engine, 1);
        return;
    }
    const Text fileName = parameterOrEmpty(engine, 1);
    if (ImageField* image = imageForLoad()) loadPnm(*image, fileName, gzipName(fileName));
}

// image.loadraw <file> <header bytes> <x> <y>
void imageLoadraw(MacroEngine& engine) {
    if (parameterCount(engine) != 4) {
        errorCountExact(engine, 4);
        return;
    }
    const Text fileName = parameterOrEmpty(engine, 1);
    const std::int64_t header = integerOf(parameterOrEmpty(engine, 2));
    const std::int64_t x = integerOf(parameterOrEmpty(engine, 3)), y = integerOf(parameterOrEmpty(engine, 4));
    if (ImageField* image = imageForLoad()) loadRawRgb(*image, fileName, header, x, y);
}

// image.save <file>
void imageSave(MacroEngine& engine) {
    if (parameterCount(engine) != 1) {
        errorCountExact(engine, 1);
        return;
    }
    if (const ImageField* image = workspaces.images.current()) saveImageFile(*image, parameterOrEmpty(engine, 1));
}

// imagemagick.enable, imagemagick.disable, freeimage.enable, freeimage.disable
void imagemagickEnable() { codecSwitches.imageMagick = true; }
void imagemagickDisable() { codecSwitches.imageMagick = false; }
void freeimageEnable() { codecSwitches.freeImage = true; }
void freeimageDisable() { codecSwitches.freeImage = false; }

}  // namespace

void registerImageFormatCommands(MacroEngine& engine) {
    setRegistrationPrefix(engine, "image.");
    registerOptionProcedure(engine, "load",     imageLoad);
    registerOptionProcedure(engine, "loadpnm",  imageLoadpnm);
    registerOptionProcedure(engine, "loadbmp",  imageLoadbmp);
    registerOptionProcedure(engine, "loadimgf", imageLoadimgf);
    registerOptionProcedure(engine, "loadrgb",  imageLoadrgb);
    registerOptionProcedure(engine, "loadraw",  imageLoadraw);
    registerOptionProcedure(engine, "save",     imageSave);
    clearRegistrationPrefix(engine);
    registerProcedure(engine, "imagemagick.enable",  imagemagickEnable);
    registerProcedure(engine, "imagemagick.disable", imagemagickDisable);
    registerProcedure(engine, "freeimage.enable",    freeimageEnable);
    registerProcedure(engine, "freeimage.disable",   freeimageDisable);
}

}  // namespace corvane
