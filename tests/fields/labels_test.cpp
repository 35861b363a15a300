// Label tables: the kind limits, ditto marks, the three file forms and the
// atlas beside a file, saving with resolved names, and the load filter and
// load scale commands.
#include "fields/labels.h"

#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "engine/runloop.h"
#include "fields/workspaces.h"
#include "libraries/general.h"
#include "support/outputcapture.h"
#include "support/tempdirectory.h"

namespace corvane {
namespace {

ScalarField fieldOfKind(VoxelKind kind) {
    ScalarField field;
    newField(field, kind);
    return field;
}

// A field whose table holds the names as given, one for each value from 0.
ScalarField fieldWithTable(std::vector<Text> names, VoxelKind kind = VoxelKind::scalarFullgray) {
    ScalarField field = fieldOfKind(kind);
    field.labels = std::move(names);
    return field;
}

void writeFile(const std::string& name, const std::string& content) {
    std::ofstream(name, std::ios::binary) << content;
}

std::string contentOf(const std::string& name) {
    std::ifstream in(name, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), {});
}

TEST(Labels, KindLimits) {
    struct Row {
        VoxelKind kind;
        std::int64_t value;
        bool stored;
    };
    const Row rows[] = {
        {VoxelKind::scalarGray, 0, true},          {VoxelKind::scalarGray, 255, true},
        {VoxelKind::scalarGray, 256, false},       {VoxelKind::scalarGray, 300, false},
        {VoxelKind::scalarGray, -1, false},        {VoxelKind::scalarFullgray, 0, true},
        {VoxelKind::scalarFullgray, 65535, true},  {VoxelKind::scalarFullgray, 65536, false},
        {VoxelKind::scalarFullgray, -1, false},    {VoxelKind::scalarMono, 0, false},
        {VoxelKind::scalarMono, 1, false},
    };
    for (const Row& row : rows) {
        ScalarField field = fieldOfKind(row.kind);
        setLabel(field, row.value, "name");
        const std::string where = "kind " + std::to_string(static_cast<int>(row.kind)) + " value " +
                                  std::to_string(row.value);
        EXPECT_EQ(labelTableLength(field), row.stored ? row.value + 1 : 0) << where;
        EXPECT_EQ(getLabel(field, row.value), row.stored ? Text("name") : Text()) << where;
    }
    EXPECT_EQ(highestLabelValue(VoxelKind::scalarGray), 255);
    EXPECT_EQ(highestLabelValue(VoxelKind::scalarFullgray), 65535);
    EXPECT_EQ(highestLabelValue(VoxelKind::scalarMono), -1);
    EXPECT_EQ(highestLabelValue(VoxelKind::none), -1);
}

TEST(Labels, SetGrowsAndOverwrites) {
    ScalarField field = fieldOfKind(VoxelKind::scalarGray);
    setLabel(field, 3, "three");
    EXPECT_EQ(labelTableLength(field), 4);
    EXPECT_EQ(getLabel(field, 0), "");
    setLabel(field, 1, "one");
    setLabel(field, 3, "third");
    EXPECT_EQ(labelTableLength(field), 4);
    EXPECT_EQ(getLabel(field, 1), "one");
    EXPECT_EQ(getLabel(field, 3), "third");
    EXPECT_EQ(getLabel(field, 4), "");
}

TEST(Labels, DittoMarksTakeTheNameBelow) {
    const ScalarField field = fieldWithTable({"background", "bone", "*", "*", "", "*", "muscle"});
    const struct {
        std::int64_t value;
        const char* name;
    } rows[] = {
        {0, "background"}, {1, "bone"}, {2, "bone"}, {3, "bone"}, {4, ""}, {5, ""}, {6, "muscle"}, {7, ""}, {-1, ""},
    };
    for (const auto& row : rows) EXPECT_EQ(getLabel(field, row.value), row.name) << "value " << row.value;
}

TEST(Labels, DittoMarksStopAtTheFirstEntry) {
    const ScalarField field = fieldWithTable({"*", "*", "x"});
    EXPECT_EQ(getLabel(field, 0), "*");
    EXPECT_EQ(getLabel(field, 1), "*");
    EXPECT_EQ(getLabel(field, 2), "x");
}

TEST(Labels, NoPayloadNoNames) {
    ScalarField field = fieldWithTable({"a", "b"});
    field.payload.reset();
    EXPECT_EQ(getLabel(field, 0), "");
    EXPECT_EQ(getLabel(field, 1), "");
}

// Each case runs in a fresh directory with the console captured.
class LabelFiles : public ::testing::Test {
protected:
    std::string output() { return capture_.takeConsole(); }

    TemporaryWorkingDirectory directory_{"corvane-labels"};
    OutputCapture capture_{/*interactive=*/false, /*withLog=*/false};
};

TEST_F(LabelFiles, PlainForm) {
    writeFile("plain.txt", "background\nbone\n*\nmuscle\n");
    ScalarField field = fieldOfKind(VoxelKind::scalarFullgray);
    loadLabels(field, "plain.txt");
    EXPECT_EQ(output(), "Read file (plain.txt).\n  Found 4 labels.\n");
    ASSERT_EQ(labelTableLength(field), 4);
    EXPECT_EQ(field.labels[2], "*");
    EXPECT_EQ(getLabel(field, 2), "bone");
    EXPECT_EQ(getLabel(field, 3), "muscle");
}

TEST_F(LabelFiles, IndexForm) {
    writeFile("tabs.txt", "INDEX\r\n3\tthree\r\n1\tone\r\n 2\ttwo\twords\r\n7\r\n");
    ScalarField field = fieldWithTable({"old", "old"});
    loadLabels(field, "tabs.txt");
    EXPECT_EQ(output(), "Read file (tabs.txt).\n  Found 8 labels.\n");
    const std::vector<Text> expected = {"", "one", "two\twords", "three", "", "", "", ""};
    EXPECT_EQ(field.labels, expected);
}

TEST_F(LabelFiles, OneLineIndexIsAName) {
    writeFile("one.txt", "index\n");
    ScalarField field = fieldOfKind(VoxelKind::scalarGray);
    loadLabels(field, "one.txt");
    EXPECT_EQ(output(), "Read file (one.txt).\n  Found one label.\n");
    EXPECT_EQ(getLabel(field, 0), "index");
}

TEST_F(LabelFiles, AtlasForm) {
    writeFile("atlas.xml",
              "<?xml version=\"1.0\"?>\n"
              "<ATLAS>\n"
              "<header>\n"
              "<area index=\"0\" name=\"Outside\"/>\n"
              "<Area NAME=\"Left Cortex\" index=\"1\"/>\n"
              "<area index=\"2\"/>\n"
              "<area name=\"Short\"/>\n"
              "name=\"early\" <area/>\n"
              "<area name=\"Open end\n"
              "</atlas>\n");
    ScalarField field = fieldOfKind(VoxelKind::scalarFullgray);
    loadLabels(field, "atlas.xml");
    EXPECT_EQ(output(), "Read file (atlas.xml).\n  Found 4 labels.\n");
    const std::vector<Text> expected = {"Outside", "Left Cortex", "Short", "Open end"};
    EXPECT_EQ(field.labels, expected);
}

TEST_F(LabelFiles, AtlasNeedsFourLines) {
    writeFile("short.xml", "<atlas>\n<area name=\"a\"/>\n<area name=\"b\"/>\n");
    ScalarField field = fieldOfKind(VoxelKind::scalarFullgray);
    loadLabels(field, "short.xml");
    EXPECT_EQ(getLabel(field, 0), "<atlas>");
    EXPECT_EQ(labelTableLength(field), 3);
}

TEST_F(LabelFiles, AtlasBesideTheFileWins) {
    writeFile("brain.nii.gz", "volume bytes\n");
    writeFile("brain.atlas.xml", "<atlas>\n<area name=\"a\"/>\n<area name=\"b\"/>\n</atlas>\n");
    ScalarField field = fieldOfKind(VoxelKind::scalarFullgray);
    loadLabels(field, "brain.nii.gz");
    EXPECT_EQ(output(), "Read file (brain.atlas.xml).\n  Found 2 labels.\n");
    EXPECT_EQ(getLabel(field, 1), "b");
}

TEST_F(LabelFiles, EmptyFileChangesNothing) {
    writeFile("empty.txt", "");
    ScalarField field = fieldWithTable({"a", "b", "c"});
    loadLabels(field, "empty.txt");
    EXPECT_EQ(output(), "Read file (empty.txt).\n  Found 3 labels.\n");
    EXPECT_EQ(labelTableLength(field), 3);
}

TEST_F(LabelFiles, MissingFileEmptiesTheTable) {
    ScalarField field = fieldWithTable({"a"});
    loadLabels(field, "missing.txt");
    EXPECT_EQ(output(), "DOS-Error\n  File (missing.txt) not found.\n  Found nothing.\n");
    EXPECT_EQ(labelTableLength(field), 0);
}

TEST_F(LabelFiles, KindLimitsApplyWhileLoading) {
    std::string names;
    for (int i = 0; i < 300; ++i) {
        names += 'n';
        names += std::to_string(i);
        names += '\n';
    }
    writeFile("many.txt", names);
    ScalarField field = fieldOfKind(VoxelKind::scalarGray);
    loadLabels(field, "many.txt");
    EXPECT_EQ(output(), "Read file (many.txt).\n  Found 256 labels.\n");
    ScalarField mono = fieldOfKind(VoxelKind::scalarMono);
    loadLabels(mono, "many.txt");
    EXPECT_EQ(output(), "Read file (many.txt).\n  Found nothing.\n");
}

TEST_F(LabelFiles, SaveWritesResolvedNames) {
    const ScalarField field = fieldWithTable({"background", "bone", "*", "", "left hippocampus"});
    saveLabels(field, "saved.txt");
    EXPECT_EQ(output(), "Write file (saved.txt).\n");
    EXPECT_EQ(contentOf("saved.txt"), "0\tbackground\n1\tbone\n2\tbone\n4\tleft hippocampus\n");
}

TEST_F(LabelFiles, SaveNeedsNamesAndAPayload) {
    saveLabels(fieldOfKind(VoxelKind::scalarFullgray), "empty.txt");
    ScalarField withoutPayload = fieldWithTable({"a"});
    withoutPayload.payload.reset();
    saveLabels(withoutPayload, "nopayload.txt");
    EXPECT_EQ(output(), "");
    EXPECT_FALSE(std::ifstream("empty.txt").good());
    EXPECT_FALSE(std::ifstream("nopayload.txt").good());
}

// Saved lines carry no "index" head; with one put in front they load back
// in the index form as the same names.
TEST_F(LabelFiles, SavedLinesReadBackInTheIndexForm) {
    const ScalarField saved = fieldWithTable({"background", "", "*", "muscle"}, VoxelKind::scalarGray);
    saveLabels(saved, "saved.txt");
    writeFile("index.txt", "index\n" + contentOf("saved.txt"));
    ScalarField loaded = fieldOfKind(VoxelKind::scalarGray);
    loadLabels(loaded, "index.txt");
    const std::vector<Text> expected = {"background", "", "", "muscle"};
    EXPECT_EQ(loaded.labels, expected);
}

// Runs the lines as a script on a fresh DEFAULT field and yields it.
class LabelCommands : public ::testing::Test {
protected:
    void SetUp() override { resetWorkspaces(); }
    void TearDown() override { resetWorkspaces(); }

    const ScalarField& after(const std::string& lines) {
        writeFile("t.macro", "debug.no\n" + lines);
        MacroEngine engine;
        newMacroEngine(engine);
        registerGeneralCommands(engine);
        registerLabelCommands(engine);
        loadMacroFile(engine.lines, "t.macro");
        runScript(engine);
        return *workspaces.scalars.current();
    }

    TemporaryWorkingDirectory directory_{"corvane-labels"};
    OutputCapture capture_;
};

TEST_F(LabelCommands, LoadFilter) {
    const struct {
        const char* lines;
        std::int64_t add, factor;
    } rows[] = {
        {"scalar.load.filter 12 3\nscalar.load.filter\n", 0, 0},
        {"scalar.load.filter 12 3\nscalar.load.filter -7\n", -7, 0},
        {"scalar.load.filter 12 3\n", 12, 3},
        {"scalar.load.filter 12 3\nscalar.load.filter 1 2 3\n", 12, 3},
    };
    for (const auto& row : rows) {
        resetWorkspaces();
        const ScalarField& field = after(row.lines);
        EXPECT_EQ(field.loadAdd, row.add) << row.lines;
        EXPECT_EQ(field.loadFactor, row.factor) << row.lines;
    }
}

TEST_F(LabelCommands, LoadScale) {
    const struct {
        const char* lines;
        Vector3 divisors;
    } rows[] = {
        {"scalar.load.scale <2, 3, 4>\n", {2, 3, 4}},
        {"scalar.loadscale 2 0.5 8\n", {2, 0.5, 8}},
        {"scalar.load.scale <2, 0, 4>\n", {2, 1, 4}},
        {"scalar.load.scale 5\n", {5, 1, 1}},
        {"scalar.load.scale 5 6\n", {5, 6, 1}},
        {"scalar.load.scale <2, 3, 4>\nscalar.load.scale\n", {1, 1, 1}},
        {"scalar.load.scale <2, 3, 4>\nscalar.load.scale 1 2 3 4\n", {2, 3, 4}},
    };
    for (const auto& row : rows) {
        resetWorkspaces();
        const Vector3 divisors = after(row.lines).loadScale;
        EXPECT_EQ(divisors.x, row.divisors.x) << row.lines;
        EXPECT_EQ(divisors.y, row.divisors.y) << row.lines;
        EXPECT_EQ(divisors.z, row.divisors.z) << row.lines;
    }
}

TEST_F(LabelCommands, LabelFunctionAndTable) {
    const ScalarField& field = after(
        "scalar.label 1 bone\n"
        "scalar.label 2 \"*\"\n"
        "a := scalar.label 2\n"
        "print \"(\" a \")\"\n"
        "print scalar.labels.length\n"
        "scalar.labels.clear\n"
        "a := scalar.label 2\n");
    EXPECT_EQ(labelTableLength(field), 0);
    const std::string console = capture_.console();
    EXPECT_NE(console.find("(bone)\n3\n"), std::string::npos) << console;
    EXPECT_NE(console.find("  No labels in: .\n"), std::string::npos) << console;
}

}  // namespace
}  // namespace corvane
