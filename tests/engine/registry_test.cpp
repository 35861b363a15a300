// Identifier registry: registering rows with their reports, lookup from the
// newest row, the singular and plural candidates, used counts and the
// truncation of rows by scope.
#include "engine/registry.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "engine/macroengine.h"
#include "engine/runloop.h"
#include "engine/variables.h"
#include "support/outputcapture.h"

namespace corvane {
namespace {

// Handlers are told apart by their address; none of them is called here.
void plainHandler() {}
void firstHandler(MacroEngine&) {}
void secondHandler(MacroEngine&) {}
void functionHandler(MacroEngine&) {}

// A fresh engine with the console captured.
class RegistryTest : public ::testing::Test {
protected:
    RegistryTest() { newMacroEngine(engine); }
    ~RegistryTest() override { freeMacroEngine(engine); }

    std::string nameOf(std::int64_t row) const { return row == 0 ? std::string() : engine.syntax.row(row).name.toUtf8(); }

    OutputCapture capture;
    MacroEngine engine;
};

// ---------------------------------------------------------------- registering

class RegistryRegistration : public RegistryTest {};

TEST_F(RegistryRegistration, ProcedureAndFunctionOfOneNameAreTwoSilentRows) {
    setRegistrationPrefix(engine, "Image.");
    registerOptionProcedure(engine, "scale", firstHandler);
    registerFunction(engine, "scale", functionHandler);
    clearRegistrationPrefix(engine);

    EXPECT_EQ(engine.syntax.count(), 2);
    EXPECT_EQ(capture.console(), "");
    const std::int64_t procedure = findProcedure(engine, "image.scale", false);
    const std::int64_t function = findFunction(engine, "image.scale");
    ASSERT_NE(procedure, 0);
    ASSERT_NE(function, 0);
    EXPECT_NE(procedure, function);
    EXPECT_EQ(engine.syntax.row(procedure).handler.withEngine, firstHandler);
    EXPECT_EQ(engine.syntax.row(function).handler.withEngine, functionHandler);
    EXPECT_EQ(findProcedure(engine, "scale", false), 0);  // the prefix is part of the name
}

TEST_F(RegistryRegistration, SecondProcedureOfANameIsRefusedWithAttention) {
    setRegistrationPrefix(engine, "image.");
    registerOptionProcedure(engine, "scale", firstHandler);
    registerFunction(engine, "scale", functionHandler);
    registerOptionProcedure(engine, "scale", secondHandler);
    clearRegistrationPrefix(engine);

    EXPECT_EQ(capture.console(), "Attention double syntax member in this scope! (scale)\n");
    EXPECT_EQ(engine.syntax.count(), 2);
    const std::int64_t procedure = findProcedure(engine, "image.scale", false);
    ASSERT_NE(procedure, 0);
    EXPECT_EQ(engine.syntax.row(procedure).handler.withEngine, firstHandler);
}

TEST_F(RegistryRegistration, BlankInTheWordIsReportedAndBecomesADot) {
    registerOptionProcedure(engine, "two words", firstHandler);
    EXPECT_EQ(capture.console(), "Attention, wrong char ( ) inside command (two words)!\n");
    EXPECT_EQ(nameOf(findProcedure(engine, "two.words", false)), "two.words");
}

TEST_F(RegistryRegistration, OnlyTheFirstRowOfANameIsCompared) {
    registerOptionProcedure(engine, "job", firstHandler);
    registerSubroutine(engine, "job", 2, rowProcedure, 10);
    // Same scope and kind as the second row, but the first row is the one compared.
    registerSubroutine(engine, "job", 2, rowProcedure, 20);
    EXPECT_EQ(engine.syntax.count(), 3);
    EXPECT_EQ(capture.console(), "");
    // Against the first row: same scope and kind is refused.
    registerSubroutine(engine, "job", 0, rowProcedure, 30);
    EXPECT_EQ(engine.syntax.count(), 3);
    EXPECT_EQ(capture.console(), "Attention double syntax member in this scope! (job)\n");
}

TEST_F(RegistryRegistration, KindBytesOfTheRegistrars) {
    setRegistrationPrefix(engine, "dump.");
    registerProcedure(engine, "plain", plainHandler);
    registerOptionProcedure(engine, "option", firstHandler);
    registerFunction(engine, "function", functionHandler);
    registerDualCommand(engine, "dual", firstHandler, functionHandler);
    registerVariableFunction(engine, "variable", functionHandler);
    clearRegistrationPrefix(engine);
    registerSubroutine(engine, "script", 1, rowFunction, 7);

    struct Row {
        const char* name;
        int kind;
        std::int64_t scope;
        std::int64_t startLine;
    };
    const std::vector<Row> expected = {
        {"dump.plain", 2, 0, 0},  {"dump.option", 18, 0, 0}, {"dump.function", 19, 0, 0},
        {"dump.dual", 18, 0, 0},  {"dump.dual", 19, 0, 0},   {"dump.variable", 20, 0, 0},
        {"script", 3, 1, 7},
    };
    ASSERT_EQ(engine.syntax.count(), static_cast<std::int64_t>(expected.size()));
    for (std::size_t i = 0; i < expected.size(); ++i) {
        const SyntaxMember& row = engine.syntax.row(static_cast<std::int64_t>(i + 1));
        SCOPED_TRACE(expected[i].name);
        EXPECT_EQ(row.name.toUtf8(), expected[i].name);
        EXPECT_EQ(row.kind, expected[i].kind);
        EXPECT_EQ(row.scope, expected[i].scope);
        EXPECT_EQ(row.startLine, expected[i].startLine);
        EXPECT_EQ(row.usedCount, 0);
        for (const ShortText& note : row.notes) EXPECT_TRUE(note.empty());
    }
    EXPECT_EQ(engine.syntax.row(1).handler.plain, plainHandler);
    EXPECT_FALSE(engine.syntax.row(7).handler.set());  // script rows have no handler
}

// ---------------------------------------------------------------- lookup

class RegistryLookup : public RegistryTest {};

TEST_F(RegistryLookup, NewestRowOfANameWins) {
    registerOptionProcedure(engine, "job", firstHandler);
    EXPECT_EQ(engine.syntax.row(findProcedure(engine, "job", false)).startLine, 0);
    registerSubroutine(engine, "job", 1, rowProcedure, 10);
    EXPECT_EQ(engine.syntax.row(findProcedure(engine, "job", false)).startLine, 10);
    registerSubroutine(engine, "job", 2, rowProcedure, 20);
    EXPECT_EQ(engine.syntax.row(findProcedure(engine, "job", false)).startLine, 20);
    // The scope plays no part, only the position: an older scope added later wins.
    registerSubroutine(engine, "job", 1, rowFunction, 5);
    registerSubroutine(engine, "job", 0, rowFunction, 6);
    EXPECT_EQ(engine.syntax.row(findFunction(engine, "job")).startLine, 6);
}

TEST_F(RegistryLookup, CaseIsIgnoredAndNamesAreCutTo254) {
    registerOptionProcedure(engine, "Print.Red", firstHandler);
    EXPECT_EQ(nameOf(findProcedure(engine, "PRINT.red", false)), "print.red");

    const std::string stem(254, 'n');
    registerOptionProcedure(engine, Text(stem + "tail"), secondHandler);
    EXPECT_EQ(nameOf(findProcedure(engine, Text(stem), false)), stem);
    EXPECT_EQ(nameOf(findProcedure(engine, Text(stem + "other tail"), false)), stem);
    EXPECT_EQ(findProcedure(engine, Text(stem.substr(1)), false), 0);
}

TEST_F(RegistryLookup, EachLookupAcceptsItsKindsOnly) {
    registerOptionProcedure(engine, "only.procedure", firstHandler);
    registerFunction(engine, "only.function", functionHandler);
    registerVariableFunction(engine, "only.variable", functionHandler);
    registerSubroutine(engine, "only.block", 1, rowBlock, 3);

    struct Row {
        const char* word;
        bool procedure, function, variable;
    };
    const std::vector<Row> rows = {
        {"only.procedure", true, false, false},
        {"only.function", false, true, false},
        {"only.variable", false, false, true},
        {"only.block", true, false, false},
        // The candidates keep to the kind as well.
        {"only.procedures", true, false, false},
        {"only.functions", false, true, false},
        {"only.variables", false, false, true},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.word);
        EXPECT_EQ(findProcedure(engine, row.word, false) != 0, row.procedure);
        EXPECT_EQ(findFunction(engine, row.word) != 0, row.function);
        EXPECT_EQ(findVariableFunction(engine, row.word) != 0, row.variable);
    }
}

TEST_F(RegistryLookup, SingularAndPluralCandidates) {
    struct Row {
        const char* registered;
        const char* word;
        const char* found;  // empty: not found
    };
    const std::vector<Row> rows = {
        // Below 'a': digits and punctuation.
        {"item1s", "item1", "item1s"},
        {"box9es", "box9", "box9es"},
        {"a.b_s", "a.b_", "a.b_s"},
        // 'a'
        {"formulae", "formula", "formulae"},
        {"datum", "data", "datum"},
        // 'e'
        {"knives", "knife", "knives"},
        {"stack", "stacke", "stack"},
        // 'f'
        {"leaves", "leaf", "leaves"},
        // 'i'
        {"radius", "radii", "radius"},
        // 'm'
        {"data", "datum", "data"},
        // 'o'
        {"echos", "echo", "echos"},
        {"tomatoes", "tomato", "tomatoes"},
        // 's', one row per candidate in its order
        {"axes", "axis", "axes"},
        {"radii", "radius", "radii"},
        {"knife", "knives", "knife"},
        {"leaf", "leaves", "leaf"},
        {"photoos", "photos", "photoos"},
        {"echoes", "echos", "echoes"},
        {"axis", "axes", "axis"},
        {"copy", "copis", "copy"},
        {"city", "cities", "city"},
        {"dump.var", "dump.vars", "dump.var"},
        {"dump.line", "dump.lines", "dump.line"},
        {"box", "boxes", "box"},
        // 'y'
        {"keys", "key", "keys"},
        {"cities", "city", "cities"},
        // any other last character
        {"meshs", "mesh", "meshs"},
        {"boxes", "box", "boxes"},
        // The table is no inverse of itself.
        {"scale", "scal", ""},
        {"dump.lines", "dump.line", ""},
        // A last character beyond one byte has no candidates.
        {"step\u03bbs", "step\u03bb", ""},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(std::string(row.word) + " -> " + row.registered);
        newMacroEngine(engine);
        registerOptionProcedure(engine, row.registered, firstHandler);
        EXPECT_EQ(nameOf(findProcedure(engine, row.word, false)), row.found);
    }
}

TEST_F(RegistryLookup, ExactNameAndEarlierCandidatesComeFirst) {
    registerOptionProcedure(engine, "dump.var", firstHandler);
    registerOptionProcedure(engine, "dump.vars", secondHandler);
    EXPECT_EQ(nameOf(findProcedure(engine, "dump.vars", false)), "dump.vars");

    // (w-1)+"os" stands before w-1 in the row of 's'.
    registerOptionProcedure(engine, "photo", firstHandler);
    registerOptionProcedure(engine, "photoos", secondHandler);
    EXPECT_EQ(nameOf(findProcedure(engine, "photos", false)), "photoos");
}

TEST_F(RegistryLookup, EveryHitCountsOnItsRow) {
    registerDualCommand(engine, "scale", firstHandler, functionHandler);
    const std::int64_t procedure = findProcedure(engine, "scale", false);
    findProcedure(engine, "SCALE", false);
    findProcedure(engine, "scales", false);  // through a candidate
    const std::int64_t function = findFunction(engine, "scale");
    findProcedure(engine, "missing", false);
    findVariableFunction(engine, "scale");

    EXPECT_EQ(engine.syntax.row(procedure).usedCount, 3);
    EXPECT_EQ(engine.syntax.row(function).usedCount, 1);
}

// ---------------------------------------------------------------- scope

class RegistryScope : public RegistryTest {};

TEST_F(RegistryScope, PopLevelDropsTheRowsOfTheClosingLevel) {
    registerOptionProcedure(engine, "builtin", firstHandler);
    registerSubroutine(engine, "top", 1, rowProcedure, 2);
    registerSubroutine(engine, "inner", 2, rowProcedure, 5);
    registerSubroutine(engine, "top", 2, rowProcedure, 6);  // hides the outer top

    engine.level = 2;
    EXPECT_EQ(engine.syntax.row(findProcedure(engine, "top", false)).startLine, 6);
    popLevel(engine);
    EXPECT_EQ(engine.level, 1);
    EXPECT_EQ(findProcedure(engine, "inner", false), 0);
    EXPECT_EQ(engine.syntax.row(findProcedure(engine, "top", false)).startLine, 2);
    popLevel(engine);
    EXPECT_EQ(findProcedure(engine, "top", false), 0);
    EXPECT_NE(findProcedure(engine, "builtin", false), 0);
    EXPECT_EQ(engine.syntax.count(), 1);
}

TEST_F(RegistryScope, TruncationStartsAtTheFirstRowOfTheLevel) {
    // Every row from the first one of scope at least the level goes, also a
    // later row of a lower scope.
    registerOptionProcedure(engine, "builtin", firstHandler);
    registerSubroutine(engine, "deep", 3, rowProcedure, 4);
    registerSubroutine(engine, "shallow", 1, rowProcedure, 8);
    engine.level = 3;
    popLevel(engine);
    EXPECT_EQ(findProcedure(engine, "deep", false), 0);
    EXPECT_EQ(findProcedure(engine, "shallow", false), 0);
    EXPECT_EQ(engine.syntax.count(), 1);
}

TEST_F(RegistryScope, ResetKeepsTheBuiltIns) {
    registerOptionProcedure(engine, "builtin", firstHandler);
    registerVariableFunction(engine, "random", functionHandler);
    registerSubroutine(engine, "script", 1, rowProcedure, 2);
    registerSubroutine(engine, "builtin", 1, rowProcedure, 3);
    engine.level = 4;
    resetEngine(engine);
    EXPECT_EQ(engine.syntax.count(), 2);
    EXPECT_EQ(findProcedure(engine, "script", false), 0);
    const std::int64_t builtin = findProcedure(engine, "builtin", false);
    ASSERT_NE(builtin, 0);
    EXPECT_EQ(engine.syntax.row(builtin).startLine, 0);
    EXPECT_NE(findVariableFunction(engine, "random"), 0);
}

}  // namespace
}  // namespace corvane
