// Image files at 4096 x 4096: saving rgb as PNG, BMP and PPM and 16-bit
// fullgray as PNG against writing the same bytes through the same file
// layer (temporary, sync, rename); loading binary PGM, PPM and BMP against
// reading the file in 1 MiB blocks as cat does, and against reading it
// whole into new memory. The writers compress nothing, so the goal is 3
// times a plain write; the loaders move whole rows, goal 2 times.
// Run: ./bench.sh imagefiles
#include <benchmark/benchmark.h>
#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

#include "fields/fieldrecords.h"
#include "formats/bmp.h"
#include "formats/png.h"
#include "formats/pnm.h"
#include "foundation/console.h"
#include "foundation/files.h"
#include "ratios.h"

using namespace corvane;

namespace {

constexpr std::int64_t edge = 4096;

std::uint8_t sample(std::int64_t i) { return static_cast<std::uint8_t>(static_cast<std::uint64_t>(i) * 2654435761u >> 13); }

std::string contentOf(const Text& name) {
    std::ifstream in(name.toUtf8(), std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), {});
}

// The images, the files the writers make of them and those files' bytes,
// made once. Files go to memory-backed storage where there is such, so
// that the disk does not drown the difference.
struct Fixture {
    std::string directory;
    ImageField rgb, full, gray;
    std::string pngRgb, bmpRgb, ppmRgb, pngFull;

    Fixture() {
        outputSettings.consoleActive = false;  // no allocation or "Write file" lines in the report
        const std::string root = ::access("/dev/shm", W_OK) == 0 ? "/dev/shm" : "/tmp";
        directory = root + "/corvane-bench-images-" + std::to_string(::getpid());
        std::filesystem::create_directories(directory);
        newField(rgb, VoxelKind::imageRgb, edge, edge);
        newField(gray, VoxelKind::imageGray, edge, edge);
        newField(full, VoxelKind::imageFullgray, edge, edge);
        for (int c = 0; c < 3; ++c) {
            std::uint8_t* plane = rgb.payload->plane<std::uint8_t>(c);
            for (std::int64_t i = 0; i < edge * edge; ++i) plane[i] = sample(i * 3 + c);
        }
        std::uint8_t* grayPlane = gray.payload->plane<std::uint8_t>(0);
        std::uint16_t* words = full.payload->plane<std::uint16_t>(0);
        for (std::int64_t i = 0; i < edge * edge; ++i) {
            grayPlane[i] = sample(i);
            words[i] = static_cast<std::uint16_t>(sample(i) << 8 | sample(i + 7));
        }
        savePng(rgb, path("rgb.png"));
        saveBmp(rgb, path("rgb.bmp"));
        savePpm(rgb, path("rgb.ppm"), false);
        savePng(full, path("full.png"));
        savePgm(gray, path("gray.pgm"), false);
        pngRgb = contentOf(path("rgb.png"));
        bmpRgb = contentOf(path("rgb.bmp"));
        ppmRgb = contentOf(path("rgb.ppm"));
        pngFull = contentOf(path("full.png"));
    }
    ~Fixture() {
        std::error_code ignored;
        std::filesystem::remove_all(directory, ignored);
    }
    Text path(const char* name) const { return Text(directory + "/" + name); }
};

Fixture& fixture() {
    static Fixture instance;
    return instance;
}

// ---- saves and their plain writes --------------------------------------------------

template <bool (*save)(const ImageField&, const Text&)>
void saveRgb(benchmark::State& state, const char* name) {
    Fixture& f = fixture();
    for (auto _ : state) benchmark::DoNotOptimize(save(f.rgb, f.path(name)));
}

bool savePpmPlain(const ImageField& image, const Text& name) { return savePpm(image, name, false); }

void saveRgbPng(benchmark::State& state) { saveRgb<savePng>(state, "out.png"); }
void saveRgbBmp(benchmark::State& state) { saveRgb<saveBmp>(state, "out.bmp"); }
void saveRgbPpm(benchmark::State& state) { saveRgb<savePpmPlain>(state, "out.ppm"); }
void saveFullgrayPng(benchmark::State& state) {
    Fixture& f = fixture();
    for (auto _ : state) benchmark::DoNotOptimize(savePng(f.full, f.path("full-out.png")));
}

// The same bytes through the same open, write and close.
void writePlain(benchmark::State& state, const std::string& bytes, const char* name) {
    Fixture& f = fixture();
    for (auto _ : state) {
        FileHandle file;
        writeBinaryFile(file, f.path(name), SuccessLine::quiet);
        file.write(bytes.data(), static_cast<std::int64_t>(bytes.size()));
        benchmark::DoNotOptimize(file.close());
    }
}

void writeRgbPngBytes(benchmark::State& state) { writePlain(state, fixture().pngRgb, "plain.png"); }
void writeRgbBmpBytes(benchmark::State& state) { writePlain(state, fixture().bmpRgb, "plain.bmp"); }
void writeRgbPpmBytes(benchmark::State& state) { writePlain(state, fixture().ppmRgb, "plain.ppm"); }
void writeFullgrayPngBytes(benchmark::State& state) { writePlain(state, fixture().pngFull, "plain-full.png"); }

BENCHMARK(saveRgbPng)->Name("imagefiles/saveRgbPng")->Unit(benchmark::kMillisecond);
BENCHMARK(writeRgbPngBytes)->Name("imagefiles/writeRgbPngBytes")->Unit(benchmark::kMillisecond);
BENCHMARK(saveRgbBmp)->Name("imagefiles/saveRgbBmp")->Unit(benchmark::kMillisecond);
BENCHMARK(writeRgbBmpBytes)->Name("imagefiles/writeRgbBmpBytes")->Unit(benchmark::kMillisecond);
BENCHMARK(saveRgbPpm)->Name("imagefiles/saveRgbPpm")->Unit(benchmark::kMillisecond);
BENCHMARK(writeRgbPpmBytes)->Name("imagefiles/writeRgbPpmBytes")->Unit(benchmark::kMillisecond);
BENCHMARK(saveFullgrayPng)->Name("imagefiles/saveFullgrayPng")->Unit(benchmark::kMillisecond);
BENCHMARK(writeFullgrayPngBytes)->Name("imagefiles/writeFullgrayPngBytes")->Unit(benchmark::kMillisecond);

// ---- loads and their plain reads ---------------------------------------------------

void loadInto(benchmark::State& state, VoxelKind kind, const char* name, void (*load)(ImageField&, const Text&)) {
    Fixture& f = fixture();
    for (auto _ : state) {
        ImageField image;
        newField(image, kind);
        load(image, f.path(name));
        benchmark::DoNotOptimize(image.payload->sizeX);
    }
}

void loadPnmPlain(ImageField& image, const Text& name) { loadPnm(image, name, false); }

void loadGrayPgm(benchmark::State& state) { loadInto(state, VoxelKind::imageGray, "gray.pgm", loadPnmPlain); }
void loadRgbPpm(benchmark::State& state) { loadInto(state, VoxelKind::imageRgb, "rgb.ppm", loadPnmPlain); }
void loadRgbBmp(benchmark::State& state) { loadInto(state, VoxelKind::imageRgb, "rgb.bmp", loadBmp); }

// The file in 1 MiB blocks into one buffer, as cat reads it.
void readPlain(benchmark::State& state, const char* name) {
    Fixture& f = fixture();
    std::vector<std::uint8_t> block(1 << 20);
    for (auto _ : state) {
        FileHandle file;
        readBinaryFile(file, f.path(name), SuccessLine::quiet);
        std::int64_t total = 0;
        for (std::int64_t got; (got = file.readSome(block.data(), static_cast<std::int64_t>(block.size()))) > 0;) {
            total += got;
        }
        benchmark::DoNotOptimize(total);
    }
}

// The whole file into a buffer of its size, new each time: what any load
// must at least do, page faults of the fresh memory included.
void readWhole(benchmark::State& state, const char* name) {
    Fixture& f = fixture();
    for (auto _ : state) {
        FileHandle file;
        readBinaryFile(file, f.path(name), SuccessLine::quiet);
        const std::int64_t size = file.size();
        std::unique_ptr<std::uint8_t[]> content(new std::uint8_t[static_cast<std::size_t>(size)]);
        benchmark::DoNotOptimize(file.read(content.get(), size));
    }
}

void readGrayPgm(benchmark::State& state) { readPlain(state, "gray.pgm"); }
void readRgbPpm(benchmark::State& state) { readPlain(state, "rgb.ppm"); }
void readRgbBmp(benchmark::State& state) { readPlain(state, "rgb.bmp"); }
void readWholeGrayPgm(benchmark::State& state) { readWhole(state, "gray.pgm"); }
void readWholeRgbPpm(benchmark::State& state) { readWhole(state, "rgb.ppm"); }
void readWholeRgbBmp(benchmark::State& state) { readWhole(state, "rgb.bmp"); }

BENCHMARK(loadGrayPgm)->Name("imagefiles/loadGrayPgm")->Unit(benchmark::kMillisecond);
BENCHMARK(readGrayPgm)->Name("imagefiles/readGrayPgm")->Unit(benchmark::kMillisecond);
BENCHMARK(loadRgbPpm)->Name("imagefiles/loadRgbPpm")->Unit(benchmark::kMillisecond);
BENCHMARK(readRgbPpm)->Name("imagefiles/readRgbPpm")->Unit(benchmark::kMillisecond);
BENCHMARK(loadRgbBmp)->Name("imagefiles/loadRgbBmp")->Unit(benchmark::kMillisecond);
BENCHMARK(readRgbBmp)->Name("imagefiles/readRgbBmp")->Unit(benchmark::kMillisecond);
BENCHMARK(readWholeGrayPgm)->Name("imagefiles/readWholeGrayPgm")->Unit(benchmark::kMillisecond);
BENCHMARK(readWholeRgbPpm)->Name("imagefiles/readWholeRgbPpm")->Unit(benchmark::kMillisecond);
BENCHMARK(readWholeRgbBmp)->Name("imagefiles/readWholeRgbBmp")->Unit(benchmark::kMillisecond);

const int ratios[] = {
    addBenchRatio("imagefiles/saveRgbPng", "imagefiles/writeRgbPngBytes"),
    addBenchRatio("imagefiles/saveRgbBmp", "imagefiles/writeRgbBmpBytes"),
    addBenchRatio("imagefiles/saveRgbPpm", "imagefiles/writeRgbPpmBytes"),
    addBenchRatio("imagefiles/saveFullgrayPng", "imagefiles/writeFullgrayPngBytes"),
    addBenchRatio("imagefiles/loadGrayPgm", "imagefiles/readGrayPgm"),
    addBenchRatio("imagefiles/loadRgbPpm", "imagefiles/readRgbPpm"),
    addBenchRatio("imagefiles/loadRgbBmp", "imagefiles/readRgbBmp"),
    addBenchRatio("imagefiles/loadGrayPgm", "imagefiles/readWholeGrayPgm"),
    addBenchRatio("imagefiles/loadRgbPpm", "imagefiles/readWholeRgbPpm"),
    addBenchRatio("imagefiles/loadRgbBmp", "imagefiles/readWholeRgbBmp"),
};

}  // namespace
