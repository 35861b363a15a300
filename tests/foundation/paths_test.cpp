// Path texts: normal form, message form and the name parts.
#include "foundation/paths.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "foundation/files.h"

namespace corvane {
namespace {

struct PathRow {
    const char* input;
    const char* expected;
};

TEST(PathNormal, SeparatorsAndParentPrefixes) {
    const Text workingDirectory("/home/user/work");
    const PathRow rows[] = {
        {"a\\b\\c.txt", "a/b/c.txt"},
        {"../../x", "/home/x"},
        {"..\\..\\x", "/home/x"},
        {"../x", "/home/user/x"},
        {"..\\sub\\x", "/home/user/sub/x"},
        {"..", "/home/user"},
        {"../..", "/home"},
        {"./x", "./x"},
        {".hidden", ".hidden"},
        {"x/../y", "x/../y"},
        {"/abs/path", "/abs/path"},
        {"", ""},
        // The rest is taken from the third character on, whatever it is.
        {"..x", "/home/userx"},
    };
    for (const PathRow& row : rows) {
        EXPECT_EQ(normalizePathFrom(row.input, workingDirectory).toUtf8(), row.expected) << row.input;
    }
}

TEST(PathNormal, CharacterZeroBecomesUnderscore) {
    Text name("a");
    name += Char16(0);
    name += "b.txt";
    EXPECT_EQ(normalizePathFrom(name, "/w").toUtf8(), "a_b.txt");
}

TEST(PathNormal, ParentsRunOutAtTheRoot) {
    EXPECT_EQ(normalizePathFrom("../../x", "/top").toUtf8(), "/x");
    EXPECT_EQ(normalizePathFrom("../x", "/").toUtf8(), "/x");
    EXPECT_EQ(normalizePathFrom("..", "/top").toUtf8(), "/");
    EXPECT_EQ(normalizePathFrom("../..", "/top/sub").toUtf8(), "/");
}

TEST(PathNormal, PlainFormUsesTheWorkingDirectory) {
    const std::filesystem::path previous = std::filesystem::current_path();
    std::filesystem::current_path("/usr/bin");
    const ByteText up = normalizePath("../x").toUtf8();
    const ByteText upTwo = normalizePath("..\\..\\x").toUtf8();
    std::filesystem::current_path(previous);
    EXPECT_EQ(up, "/usr/x");
    EXPECT_EQ(upTwo, "/x");
}

TEST(PathShort, WithinTheLimitOnlySeparatorsChange) {
    EXPECT_EQ(shortenPath("dir\\sub\\file.txt").toUtf8(), "dir/sub/file.txt");
    const std::string sixty = "d/" + std::string(58, 'f');
    EXPECT_EQ(shortenPath(Text(sixty)).toUtf8(), sixty);
}

TEST(PathShort, KeepsFirstDirectoryAndLastPart) {
    const std::string middle = std::string(30, 'm') + "/" + std::string(30, 'n');
    const std::string relative = "project/" + middle + "/volume.nii.gz";
    const ByteText shortRelative = shortenPath(Text(relative)).toUtf8();
    EXPECT_EQ(shortRelative.substr(0, 11), "project/../");
    EXPECT_TRUE(shortRelative.ends_with("/volume.nii.gz")) << shortRelative;
    EXPECT_LE(shortRelative.size(), 60u) << shortRelative;

    const ByteText shortAbsolute = shortenPath(Text("\\home\\" + middle + "\\x.raw")).toUtf8();
    EXPECT_EQ(shortAbsolute.substr(0, 9), "/home/../");
    EXPECT_TRUE(shortAbsolute.ends_with("/x.raw")) << shortAbsolute;
    EXPECT_LE(shortAbsolute.size(), 60u) << shortAbsolute;
}

TEST(PathShort, TrailingPartsKeepTheirOrder) {
    const std::string name = "top/" + std::string(50, 'a') + "/b/c/d.txt";
    EXPECT_EQ(shortenPath(Text(name)).toUtf8(), "top/../b/c/d.txt");
    EXPECT_EQ(shortenPath(Text(name), 14).toUtf8(), "top/../c/d.txt");
    EXPECT_EQ(shortenPath(Text(name), 13).toUtf8(), "top/../d.txt");
}

TEST(PathShort, LongLastPartMayExceedTheLimit) {
    const std::string last = std::string(70, 'L');
    EXPECT_EQ(shortenPath(Text("first/second/" + last)).toUtf8(), "first/../" + last);
}

TEST(PathShort, NoSeparatorIsCutAtTheLimit) {
    const std::string name(80, 'n');
    EXPECT_EQ(shortenPath(Text(name)).toUtf8(), std::string(60, 'n'));
    EXPECT_EQ(shortenPath(Text(name), 10).toUtf8(), std::string(10, 'n'));
}

struct PartsRow {
    const char* path;
    const char* directory;
    const char* file;
    const char* withoutExtension;
    const char* fullExtension;
    const char* lastExtension;
};

TEST(PathParts, BothSeparatorsAndDoubleExtensions) {
    const PartsRow rows[] = {
        {"dir/sub/a.b.nii.gz", "dir/sub/", "a.b.nii.gz", "a.b", "nii.gz", "gz"},
        {"dir\\sub\\a.b.nii.gz", "dir\\sub\\", "a.b.nii.gz", "a.b", "nii.gz", "gz"},
        {"a.nii.gz", "", "a.nii.gz", "a", "nii.gz", "gz"},
        {"c:\\data/x.txt", "c:\\data/", "x.txt", "x", "txt", "txt"},
        {"scan.GZ", "", "scan.GZ", "scan", "GZ", "GZ"},
        {"pack.tar.Gz", "", "pack.tar.Gz", "pack", "tar.Gz", "Gz"},
        {"dir.d/plain", "dir.d/", "plain", "plain", "", ""},
        {"dir.d\\plain", "dir.d\\", "plain", "plain", "", ""},
        {"folder/", "folder/", "", "", "", ""},
        {"", "", "", "", "", ""},
    };
    for (const PartsRow& row : rows) {
        const Text path(row.path);
        EXPECT_EQ(directoryPart(path).toUtf8(), row.directory) << row.path;
        EXPECT_EQ(filePart(path).toUtf8(), row.file) << row.path;
        EXPECT_EQ(fileNameWithoutExtension(path).toUtf8(), row.withoutExtension) << row.path;
        EXPECT_EQ(fullExtension(path).toUtf8(), row.fullExtension) << row.path;
        EXPECT_EQ(lastExtension(path).toUtf8(), row.lastExtension) << row.path;
    }
}

TEST(PathParts, ReplaceExtensionKeepsTheDirectory) {
    struct Row {
        const char* path;
        const char* extension;
        const char* expected;
    };
    const Row rows[] = {
        {"dir/a.nii.gz", "png", "dir/a.png"},
        {"dir/a.nii.gz", ".png", "dir/a.png"},
        {"dir\\a.b.txt", "csv", "dir\\a.b.csv"},
        {"plain", "txt", "plain.txt"},
        {"a.txt", "", "a"},
        {"out/volume.raw", "nii.gz", "out/volume.nii.gz"},
    };
    for (const Row& row : rows) {
        EXPECT_EQ(replaceExtension(row.path, row.extension).toUtf8(), row.expected) << row.path;
    }
}

}  // namespace

TEST(PathFormat, FirstDotOfTheFilePartLowerCased) {
    EXPECT_EQ(formatExtension("./data/x.NII.gz").toUtf8(), "nii.gz");
    EXPECT_EQ(formatExtension("dir.v2/scan").toUtf8(), "");
    EXPECT_EQ(formatExtension("a.b.nii.gz").toUtf8(), "b.nii.gz");
    EXPECT_EQ(withFormatExtension("dir.v2/a.nii", "hdr").toUtf8(), "dir.v2/a.hdr");
    EXPECT_EQ(withFormatExtension("scan", "img.gz").toUtf8(), "scan.img.gz");
}

}  // namespace corvane
