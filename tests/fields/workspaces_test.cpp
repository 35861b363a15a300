// Workspace lists: names in upper case, first of equal names found, stable
// indices through renames, and the three resolve operations.
#include "fields/workspaces.h"

#include <gtest/gtest.h>

#include "engine/macroengine.h"
#include "support/outputcapture.h"

namespace corvane {
namespace {

class Workspace : public ::testing::Test {
protected:
    void SetUp() override { resetWorkspaces(); }
    void TearDown() override { resetWorkspaces(); }
    OutputCapture capture;
};

TEST_F(Workspace, EveryListStartsWithDefaultInUse) {
    EXPECT_EQ(workspaces.images.count(), 1);
    EXPECT_EQ(workspaces.lines.count(), 1);
    EXPECT_EQ(workspaces.scalars.nameAt(1), "DEFAULT");
    EXPECT_EQ(workspaces.tensors.currentIndex(), 1);
    EXPECT_EQ(workspaces.images.current()->kind, VoxelKind::imageFullgray);
}

TEST_F(Workspace, ResetRestoresTheDefaultKinds) {
    defaultKinds.image = VoxelKind::imageGray;
    resetWorkspaces();
    EXPECT_EQ(workspaces.images.current()->kind, VoxelKind::imageFullgray);
}

TEST_F(Workspace, NamesAreUpperCaseAndCut) {
    EXPECT_EQ(workspaceName("abc.Def"), "ABC.DEF");
    EXPECT_EQ(workspaceName(Text(std::string(300, 'a'))).length(), 254);
}

TEST_F(Workspace, RenamesKeepIndicesAndTheFirstEqualNameWins) {
    WorkspaceList<ScalarField>& list = workspaces.scalars;
    const std::int64_t a = list.append("A", newWorkspaceObject<ScalarField>());
    const std::int64_t b = list.append("B", newWorkspaceObject<ScalarField>());
    list.rename(b, "A");
    EXPECT_EQ(list.find("A"), a);
    list.rename(a, "C");
    EXPECT_EQ(list.find("A"), b);
    EXPECT_EQ(list.find("C"), a);
    EXPECT_EQ(list.find("B"), 0);
}

TEST_F(Workspace, ResolveOperations) {
    MacroEngine engine;
    WorkspaceList<ImageField>& list = workspaces.images;
    ImageField* made = resolveOrCreate(list, "new");
    ASSERT_NE(made, nullptr);
    EXPECT_EQ(list.find("NEW"), 2);
    EXPECT_EQ(list.currentIndex(), 1);  // the object in use stays
    EXPECT_EQ(resolveOrCreate(list, "NEW"), made);
    EXPECT_EQ(resolveTarget(engine, list, ""), nullptr);  // empty means DEFAULT, the one in use
    EXPECT_NE(capture.log().find("Same illegal assigment (imagefield[DEFAULT] := function imagefield[DEFAULT])!"),
              std::string::npos);
}

TEST_F(Workspace, ResolveExistingReportsTheUpperCaseName) {
    MacroEngine engine;
    EXPECT_EQ(resolveExisting(engine, workspaces.scalars, "zz"), nullptr);
    EXPECT_NE(capture.log().find("Empty scalarfield[ZZ]"), std::string::npos);
    EXPECT_EQ(resolveExisting(engine, workspaces.scalars, "default"), workspaces.scalars.at(1));
}

}  // namespace
}  // namespace corvane
