// Variables and scopes: where the setters put their rows, the index suffix,
// the length limit, names that belong to commands, the with prefixes, the
// output stack and what the end of a block and the start of a run remove.
#include "engine/variables.h"
#include "foundation/numbers.h"

#include <gtest/gtest.h>

#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "engine/macroengine.h"
#include "engine/registry.h"
#include "engine/runloop.h"
#include "foundation/files.h"
#include "support/outputcapture.h"
#include "support/tempdirectory.h"

namespace corvane {
namespace {

void commandHandler(MacroEngine&) {}

class VariableTest : public ::testing::Test {
protected:
    VariableTest() { newMacroEngine(engine); }
    ~VariableTest() override { freeMacroEngine(engine); }

    std::string read(const char* name) const { return readVariable(engine, Text(name)).toUtf8(); }
    std::int64_t scopeOf(const char* name) const { return engine.variables.row(findVariable(engine, name)).scope; }
    // Names of all rows, oldest first.
    std::vector<std::string> names() const {
        std::vector<std::string> list;
        for (std::int64_t row = 1; row <= engine.variables.count(); ++row)
            list.push_back(engine.variables.row(row).name.toUtf8());
        return list;
    }

    OutputCapture capture;
    MacroEngine engine;
};

// ---------------------------------------------------------------- setters

class VariableSetters : public VariableTest {};

TEST_F(VariableSetters, AssignmentInAnInnerBlockChangesTheOuterRow) {
    engine.level = 1;
    setVariable(engine, "a", "1");
    engine.level = 3;
    setVariable(engine, "a", "2");
    EXPECT_EQ(engine.variables.count(), 1);
    EXPECT_EQ(read("a"), "2");
    EXPECT_EQ(scopeOf("a"), 1);
    setVariable(engine, "b", "3");
    EXPECT_EQ(scopeOf("b"), 3);  // a new name takes the current level
    popLevel(engine);
    popLevel(engine);
    EXPECT_EQ(read("a"), "2");
    EXPECT_EQ(read("b"), "");
}

TEST_F(VariableSetters, NamesTakeTheirNormalForm) {
    setVariable(engine, "My Var", "x");
    EXPECT_EQ(names(), std::vector<std::string>{"my.var"});
    EXPECT_EQ(read("MY.VAR"), "x");
    EXPECT_EQ(read("my var"), "x");
    EXPECT_EQ(read("unknown"), "");
    EXPECT_EQ(findVariable(engine, "unknown"), 0);
}

TEST_F(VariableSetters, InstanceRowHidesOlderRowsUntilItsBlockEnds) {
    engine.level = 1;
    setVariable(engine, "a", "outer");
    addInstanceVariable(engine, "a", "instance");
    EXPECT_EQ(engine.variables.count(), 2);
    EXPECT_EQ(scopeOf("a"), 2);
    EXPECT_EQ(read("a"), "instance");
    engine.level = 2;  // as the block starts
    setVariable(engine, "a", "changed");  // reaches the instance row
    EXPECT_EQ(read("a"), "changed");
    popLevel(engine);
    EXPECT_EQ(read("a"), "outer");
    EXPECT_EQ(engine.variables.count(), 1);
}

TEST_F(VariableSetters, GlobalRowGoesBehindTheRowsOfItsScope) {
    engine.level = 1;
    setVariable(engine, "a", "1");
    engine.level = 2;
    setVariable(engine, "b", "2");
    engine.level = 3;
    setVariable(engine, "c", "3");
    setGlobalVariable(engine, "g", "global", 1);
    EXPECT_EQ(names(), (std::vector<std::string>{"a", "g", "b", "c"}));
    EXPECT_EQ(scopeOf("g"), 1);
    // Every row is still found under its name after the shift.
    EXPECT_EQ(read("a"), "1");
    EXPECT_EQ(read("b"), "2");
    EXPECT_EQ(read("c"), "3");
    EXPECT_EQ(read("g"), "global");

    popLevel(engine);
    popLevel(engine);
    EXPECT_EQ(names(), (std::vector<std::string>{"a", "g"}));
    EXPECT_EQ(read("g"), "global");
    popLevel(engine);  // the end of the run
    EXPECT_EQ(read("g"), "");
}

TEST_F(VariableSetters, GlobalOfAnExistingNameKeepsItsRow) {
    engine.level = 3;
    setVariable(engine, "a", "deep");
    setGlobalVariable(engine, "a", "changed", 1);
    EXPECT_EQ(engine.variables.count(), 1);
    EXPECT_EQ(scopeOf("a"), 3);
    EXPECT_EQ(read("a"), "changed");
}

TEST_F(VariableSetters, GlobalRowAfterRowsOfLowerScopeIsAppended) {
    setVariable(engine, "zero", "0");
    engine.level = 1;
    setGlobalVariable(engine, "g", "1", 1);
    EXPECT_EQ(names(), (std::vector<std::string>{"zero", "g"}));
}

TEST_F(VariableSetters, IndexSuffixRebuildsTheList) {
    struct Row {
        const char* old;
        const char* name;
        const char* value;
        const char* stored;
    };
    const std::vector<Row> rows = {
        {"", "a[3]", "x", "\t\tx"},
        {"p\tq\tr", "a[2]", "X", "p\tX\tr"},
        {"p", "a[1]", "X", "X"},
        {"p\tq", "a[4]", "X", "p\tq\t\tX"},
        {"p\tq\tr", "a[3]", "", "p\tq\t"},
        {"p\tq", "a[0]", "X", "X"},  // below 1: the plain name
        {"p\tq", "a[-2]", "X", "X"},
        {"p\tq", "A[2]", "X", "p\tX"},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(std::string(row.name) + " := " + row.value);
        newMacroEngine(engine);
        setVariable(engine, "a", row.old);
        setVariable(engine, row.name, row.value);
        EXPECT_EQ(names(), std::vector<std::string>{"a"});
        EXPECT_EQ(read("a"), row.stored);
    }
}

TEST_F(VariableSetters, IndexSuffixOnANewNameWithBlanks) {
    setVariable(engine, "My List[2]", "x");
    EXPECT_EQ(names(), std::vector<std::string>{"my.list"});
    EXPECT_EQ(read("my.list"), "\tx");
}

TEST_F(VariableSetters, ValuesAndNamesAreCutTo254) {
    setVariable(engine, "long", Text(std::string(300, 'v')));
    EXPECT_EQ(read("long"), std::string(254, 'v'));

    const std::string name(300, 'n');
    setVariable(engine, Text(name), "x");
    EXPECT_EQ(engine.variables.row(engine.variables.count()).name.toUtf8(), std::string(254, 'n'));
    EXPECT_EQ(readVariable(engine, Text(name)).toUtf8(), "x");
    EXPECT_EQ(readVariable(engine, Text(name.substr(0, 254))).toUtf8(), "x");

    // A rebuilt list is cut as well.
    setVariable(engine, "list", Text(std::string(250, 'p')));
    setVariable(engine, "list[2]", "0123456789");
    EXPECT_EQ(read("list"), std::string(250, 'p') + "\t012");

    setGlobalVariable(engine, "global", Text(std::string(300, 'g')), 1);
    EXPECT_EQ(read("global"), std::string(254, 'g'));
    addInstanceVariable(engine, "instance", Text(std::string(300, 'i')));
    EXPECT_EQ(read("instance"), std::string(254, 'i'));
}

// ---------------------------------------------------------------- command names

class VariableOverload : public VariableTest {
protected:
    VariableOverload() {
        registerOptionProcedure(engine, "print", commandHandler);
        setRegistrationPrefix(engine, "image.");
        registerFunction(engine, "size", commandHandler);
        clearRegistrationPrefix(engine);
        registerVariableFunction(engine, "random", commandHandler);
        registerSubroutine(engine, "job", 1, rowProcedure, 3);
    }
};

TEST_F(VariableOverload, NoVariableBearsTheFullNameOfACommand) {
    struct Row {
        const char* name;
        const char* reported;  // empty: stored
    };
    const std::vector<Row> rows = {
        {"print", "print"},
        {"PRINT", "print"},
        {"image.size", "image.size"},
        {"Image Size", "image.size"},
        {"random", "random"},
        {"job", "job"},
        {"print[2]", "print"},
        {"size", ""},         // the prefix is part of the command's name
        {"image.sizes", ""},  // no singular or plural forms here
        {"prints", ""},
    };
    for (const Row& row : rows) {
        for (const bool global : {false, true}) {
            SCOPED_TRACE(std::string(row.name) + (global ? " global" : " plain"));
            engine.stopFlag = false;
            engine.errorText = Text();
            engine.variables.clear();
            capture.takeConsole();
            if (global) {
                setGlobalVariable(engine, row.name, "3", 1);
            } else {
                setVariable(engine, row.name, "3");
            }
            if (*row.reported == '\0') {
                EXPECT_EQ(engine.variables.count(), 1);
                EXPECT_FALSE(engine.stopFlag);
                EXPECT_EQ(capture.takeConsole(), "");
            } else {
                const std::string line = std::string("Error (overloaded identifier: ") + row.reported + ") in line 0 ()!";
                EXPECT_EQ(engine.variables.count(), 0);
                EXPECT_TRUE(engine.stopFlag);
                EXPECT_EQ(capture.takeConsole(), line + "\n");
                EXPECT_EQ(engine.errorText.toUtf8(), line);
            }
        }
    }
}

TEST_F(VariableOverload, InstanceRowsAreNotChecked) {
    addInstanceVariable(engine, "print", "3");
    EXPECT_FALSE(engine.stopFlag);
    EXPECT_EQ(read("print"), "3");
}

// ---------------------------------------------------------------- with prefixes

class VariableWith : public VariableTest {};

TEST_F(VariableWith, PrefixesJoinInStackOrderAndEndWithTheirBlock) {
    engine.level = 1;
    pushWith(engine, "image");
    engine.level = 2;
    pushWith(engine, "load");
    engine.level = 3;
    EXPECT_EQ(withDepth(engine), 2);
    EXPECT_EQ(withPrefix(engine, 2).toUtf8(), "image.load");
    EXPECT_EQ(withPrefix(engine, 1).toUtf8(), "image");
    EXPECT_EQ(withPrefix(engine, 0).toUtf8(), "");
    EXPECT_EQ(withPrefix(engine, 3).toUtf8(), "");
    popLevel(engine);
    EXPECT_EQ(withDepth(engine), 1);
    EXPECT_EQ(withPrefix(engine, 1).toUtf8(), "image");
    popLevel(engine);
    EXPECT_EQ(withDepth(engine), 0);
}

// ---------------------------------------------------------------- output stack

class VariableOutput : public VariableTest {
protected:
    TemporaryWorkingDirectory directory{"corvane-variables"};
};

TEST_F(VariableOutput, SameFileTwiceIsRefused) {
    engine.level = 1;
    EXPECT_FALSE(outputActive(engine));
    EXPECT_EQ(pushOutput(engine, "a.txt"), 1);
    EXPECT_EQ(engine.outputs.back()->scope, 2);
    EXPECT_TRUE(outputActive(engine));
    EXPECT_EQ(pushOutput(engine, "a.txt"), 0);
    EXPECT_EQ(capture.console(), "Attention file is open! (a.txt)\n");
    EXPECT_EQ(pushOutput(engine, "b.txt"), 2);
}

TEST_F(VariableOutput, At255OpenFilesNoMore) {
    for (int i = 1; i <= 255; ++i) ASSERT_EQ(pushOutput(engine, "f" + integerToText(i)), i);
    EXPECT_EQ(capture.takeConsole(), "");
    EXPECT_EQ(pushOutput(engine, "f256"), 0);
    EXPECT_EQ(capture.takeConsole(), "To much open files! (f256)\n");
    // A name already open is told as such first.
    EXPECT_EQ(pushOutput(engine, "f3"), 0);
    EXPECT_EQ(capture.takeConsole(), "Attention file is open! (f3)\n");
}

TEST_F(VariableOutput, PopLevelClosesTheFilesOfTheClosingLevel) {
    const auto open = [this](const char* name) {
        const std::int64_t position = pushOutput(engine, name);
        ASSERT_NE(position, 0);
        ASSERT_TRUE(writeTextFile(engine.outputs[static_cast<std::size_t>(position)]->file, name, SuccessLine::quiet));
    };
    const auto contents = [](const char* name) {
        std::ifstream file(name);
        std::stringstream text;
        text << file.rdbuf();
        return text.str();
    };
    engine.level = 1;
    open("outer.txt");
    currentOutput(engine).writeLine("outer line");
    engine.level = 2;
    open("inner.txt");
    currentOutput(engine).writeLine("inner line");
    engine.level = 3;

    popLevel(engine);
    EXPECT_EQ(contents("inner.txt"), "inner line\n");
    ASSERT_TRUE(outputActive(engine));
    EXPECT_TRUE(currentOutput(engine).isOpen());
    currentOutput(engine).writeLine("more");
    popLevel(engine);
    EXPECT_FALSE(outputActive(engine));
    EXPECT_EQ(contents("outer.txt"), "outer line\nmore\n");
}

// ---------------------------------------------------------------- start of a run

class VariableReset : public VariableTest {};

TEST_F(VariableReset, ResetKeepsTheRowsOfScopeZero) {
    TemporaryWorkingDirectory directory("corvane-variables");
    registerOptionProcedure(engine, "print", commandHandler);
    setVariable(engine, "thread.max", "4");
    engine.level = 2;
    setVariable(engine, "a", "1");
    addInstanceVariable(engine, "i", "2");
    registerSubroutine(engine, "job", 1, rowProcedure, 2);
    pushWith(engine, "image");
    const std::int64_t position = pushOutput(engine, "out.txt");
    ASSERT_TRUE(writeTextFile(engine.outputs[static_cast<std::size_t>(position)]->file, "out.txt", SuccessLine::quiet));
    currentOutput(engine).writeLine("kept");
    engine.blockStack.assign(3, ShortText(Text("process")));
    engine.stopFlag = true;
    engine.runningFlag = true;
    engine.errorText = "earlier error";
    engine.currentLine = 9;

    resetEngine(engine);
    EXPECT_EQ(engine.level, 0);
    EXPECT_TRUE(engine.blockStack.empty());
    EXPECT_EQ(names(), std::vector<std::string>{"thread.max"});
    EXPECT_EQ(read("thread.max"), "4");
    EXPECT_NE(findProcedure(engine, "print", false), 0);
    EXPECT_EQ(findProcedure(engine, "job", false), 0);
    EXPECT_EQ(withDepth(engine), 0);
    EXPECT_FALSE(outputActive(engine));
    std::ifstream file("out.txt");
    std::string line;
    EXPECT_TRUE(std::getline(file, line));
    EXPECT_EQ(line, "kept");
    EXPECT_FALSE(engine.stopFlag);
    EXPECT_FALSE(engine.runningFlag);
    EXPECT_EQ(engine.currentLine, 0);
    EXPECT_TRUE(engine.errorText.empty());
}

}  // namespace
}  // namespace corvane
