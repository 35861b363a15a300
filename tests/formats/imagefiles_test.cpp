// Image file dispatch: which writer each kind and extension reaches, the
// load dispatch and its messages, and volumes saved slice by slice.
#include "formats/imagefiles.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "formats/imagefixtures.h"
#include "foundation/trackedarray.h"
#include "support/outputcapture.h"
#include "support/tempdirectory.h"

namespace corvane {
namespace {

using Pixels = std::vector<std::uint32_t>;

class ImageFilesTest : public ::testing::Test {
protected:
    TemporaryWorkingDirectory directory_{"corvane-imagefiles"};
    OutputCapture output_;
};

TEST_F(ImageFilesTest, SaveDispatchByKindAndExtension) {
    struct Row {
        VoxelKind kind;
        const char* given;
        const char* written;
        std::string opening;  // first bytes of the file
    };
    const std::string png = "\x89PNG", tiff("II\x2a\0", 4), gzip = "\x1f\x8b";
    const std::string rgbHead("\0\0\x20\0", 4), tga("\0\0\x02\0", 4);
    const Row rows[] = {
        {VoxelKind::imageGray, "g.pgm", "g.pgm", "P5"},
        {VoxelKind::imageFullgray, "f.pgm.gz", "f.pgm.gz", gzip},
        {VoxelKind::imageGray, "g.tif", "g.tif", tiff},
        {VoxelKind::imageFullgray, "f.tiff", "f.tiff", tiff},
        {VoxelKind::imageGray, "g.png", "g.png", png},
        // Gray kinds have no other writer: the default one, PNG, adds its extension.
        {VoxelKind::imageGray, "g.pnm", "g.pnm.png", png},
        {VoxelKind::imageGray, "g.bmp", "g.bmp.png", png},
        {VoxelKind::imageFullgray, "f.ppm", "f.ppm.png", png},
        {VoxelKind::imageGray, "noextension", "noextension.png", png},
        {VoxelKind::imageRgb, "c.pbm", "c.pbm", "P4"},
        {VoxelKind::imageRgb, "c.pbm.gz", "c.pbm.gz", gzip},
        {VoxelKind::imageRgb, "c.pgm", "c.pgm", "P5"},
        {VoxelKind::imageRgb, "c.pgm.gz", "c.pgm.gz", gzip},
        {VoxelKind::imageRgb, "c.pnm", "c.pnm", "P6"},
        {VoxelKind::imageRgb, "c.ppm", "c.ppm", "P6"},
        {VoxelKind::imageRgb, "c.pnm.gz", "c.pnm.gz", gzip},
        {VoxelKind::imageRgb, "c.ppm.gz", "c.ppm.gz", gzip},
        {VoxelKind::imageRgb, "c.pam", "c.pam", "P7"},
        {VoxelKind::imageRgb, "c.pam.gz", "c.pam.gz", gzip},
        {VoxelKind::imageRgb, "c.rgb", "c.rgb", rgbHead},
        {VoxelKind::imageRgb, "c.bmp", "c.bmp", "BM"},
        {VoxelKind::imageRgb, "c.dib", "c.dib", "BM"},
        {VoxelKind::imageRgb, "c.tga", "c.tga", tga},
        {VoxelKind::imageRgb, "c.tif", "c.tif", tiff},
        {VoxelKind::imageRgb, "c.TIFF", "c.TIFF", tiff},
        {VoxelKind::imageRgb, "c.png", "c.png", png},
        {VoxelKind::imageRgb, "c.jpg", "c.jpg.png", png},
        {VoxelKind::imageRgba, "a.pam", "a.pam", "P7"},
        {VoxelKind::imageRgba, "a.bmp", "a.bmp", "BM"},
        {VoxelKind::imageZrgb, "z.ppm", "z.ppm", "P6"},
        {VoxelKind::imageZrgb, "z.png", "z.png", png},
        {VoxelKind::imageRgb, "dir.d/c", "dir.d/c.png", png},
    };
    std::filesystem::create_directory("dir.d");
    for (const Row& row : rows) {
        const ImageField image = patternImage(row.kind, 4, 3);
        EXPECT_TRUE(saveImageFile(image, row.given)) << row.given;
        EXPECT_EQ(messages(output_), std::string("Write file (") + row.written + ").\n");
        EXPECT_EQ(readBytes(row.written).substr(0, row.opening.size()), row.opening) << row.given;
    }
    ImageField none;
    EXPECT_FALSE(saveImageFile(none, "n.png"));
    EXPECT_EQ(messages(output_), "Unknown imagefield!\n");
}

TEST_F(ImageFilesTest, LoadDispatchKeepsThePixels) {
    // The messages of the load dispatch are in the transcripts; here the
    // pixels that arrive by each reader, names in any case.
    const ImageField rgb = patternImage(VoxelKind::imageRgb, 5, 4);
    for (const char* name : {"c.ppm", "C.PNM.GZ", "c.bmp", "c.rgb"}) {
        ASSERT_TRUE(saveImageFile(rgb, name));
        ImageField back = emptyOfKind(VoxelKind::imageRgb);
        loadImageFile(back, name);
        EXPECT_EQ(allPixels(back), allPixels(rgb)) << name;
    }
}

ScalarField patternVolume(VoxelKind kind, std::int64_t x, std::int64_t y, std::int64_t z) {
    ScalarField volume;
    newField(volume, kind, x, y, z);
    for (std::int64_t k = 1; k <= z; ++k) {
        for (std::int64_t j = 1; j <= y; ++j) {
            for (std::int64_t i = 1; i <= x; ++i) setVoxel(volume, i, j, k, (i * 7 + j * 13 + k * 31) % 256);
        }
    }
    return volume;
}

TEST_F(ImageFilesTest, VolumeSlicesAsImages) {
    std::filesystem::create_directory("out.d");
    for (VoxelKind kind : {VoxelKind::scalarGray, VoxelKind::scalarMono}) {
        const ScalarField volume = patternVolume(kind, 5, 3, 10);
        saveVolumeSlices(volume, "out.d/head.pgm");
        std::string written, read;
        for (int z = 1; z <= 10; ++z) {
            const std::string name = "out.d/head_" + std::string(z < 10 ? "0" : "") + std::to_string(z) + ".pgm";
            written += "Write file (" + name + ").\n";
            ImageField slice = emptyOfKind(VoxelKind::imageGray);
            loadImageFile(slice, Text(name));
            read += "Read file (" + name + ").\n";
            Pixels voxels;
            for (int y = 1; y <= 3; ++y) {
                for (int x = 1; x <= 5; ++x) voxels.push_back(static_cast<std::uint32_t>(getVoxel(volume, x, y, z)));
            }
            EXPECT_EQ(allPixels(slice), voxels) << name;
        }
        EXPECT_EQ(messages(output_), written + read);
    }

    // Fullgray slices stay 16-bit; the digits follow the z size; the
    // extension keeps its case and whatever follows the first dot.
    const ScalarField full = patternVolume(VoxelKind::scalarFullgray, 4, 4, 9);
    saveVolumeSlices(full, "s.PNG");
    std::string expected;
    for (int z = 1; z <= 9; ++z) expected += "Write file (s_" + std::to_string(z) + ".PNG).\n";
    EXPECT_EQ(messages(output_), expected);
    EXPECT_EQ(readBytes("s_9.PNG").substr(24, 2), std::string("\x10\0", 2));  // bit depth 16, gray

    saveVolumeSlices(patternVolume(VoxelKind::scalarGray, 2, 2, 100), "deep.v.tif");
    EXPECT_TRUE(std::filesystem::exists("deep_001.v.tif.png"));
    EXPECT_TRUE(std::filesystem::exists("deep_100.v.tif.png"));
    messages(output_);

    // Nothing to write for an empty volume.
    ScalarField empty;
    newField(empty, VoxelKind::scalarGray);
    saveVolumeSlices(empty, "e.png");
    ScalarField none;
    saveVolumeSlices(none, "n.png");
    EXPECT_EQ(messages(output_), "");
}

TEST_F(ImageFilesTest, FailedAllocationLeavesAnEmptyImage) {
    const ImageField rgb = patternImage(VoxelKind::imageRgb, 5, 4);
    ASSERT_TRUE(saveImageFile(rgb, "c.ppm"));
    ASSERT_TRUE(saveImageFile(rgb, "c.bmp"));
    messages(output_);
    MemoryAllocator failing = currentMemoryAllocator();
    failing.allocate = [](std::int64_t) -> void* { return nullptr; };
    const MemoryAllocator previous = setMemoryAllocator(failing);
    for (const char* name : {"c.ppm", "c.bmp"}) {
        ImageField image = emptyOfKind(VoxelKind::imageRgb);
        loadImageFile(image, name);
        EXPECT_EQ(imageWidth(image), 0);
        EXPECT_EQ(image.name.toText(), name);
        EXPECT_EQ(messages(output_), std::string("Read file (") + name +
                                         ").\n  Wrong static allocation (Out of memory?)! Create empty field.\n");
    }
    setMemoryAllocator(previous);
}

}  // namespace
}  // namespace corvane
