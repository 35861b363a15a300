// Parameters: the two tokenisers with their word kinds, @-substitution,
// variable substitution, element access, variable functions, the register
// text form and the reports of the handler accessors.
#include "engine/parameters.h"

#include <gtest/gtest.h>

#include <fstream>
#include <string>
#include <vector>

#include "engine/macroengine.h"
#include "engine/registry.h"
#include "engine/runloop.h"
#include "engine/variables.h"
#include "support/outputcapture.h"
#include "support/tempdirectory.h"

namespace corvane {
namespace {

using Texts = std::vector<std::string>;
using Kinds = std::vector<int>;

// A variable function that counts its calls and yields the count.
int drawCount = 0;
void draw(MacroEngine& engine) { setResult(engine, Text(std::to_string(++drawCount))); }
void twice(MacroEngine&) {}

Texts textsOf(const ParameterList& list) {
    Texts texts;
    for (const Parameter& item : list.items) texts.push_back(item.text.toUtf8());
    return texts;
}

Kinds kindsOf(const ParameterList& list) {
    Kinds kinds;
    for (const Parameter& item : list.items) kinds.push_back(item.kind);
    return kinds;
}

class ParameterTest : public ::testing::Test {
protected:
    ParameterTest() {
        newMacroEngine(engine);
        drawCount = 0;
    }
    ~ParameterTest() override { freeMacroEngine(engine); }

    OutputCapture capture;
    MacroEngine engine;
};

// ---------------------------------------------------------------- tokenisers

class ParameterSplit : public ParameterTest {};

TEST_F(ParameterSplit, WordsKindsAndSubstitutionInBothLists) {
    setVariable(engine, "b", "2");
    setVariable(engine, "i", "1");
    setVariable(engine, "lst", "p\tq\tr");

    struct Row {
        const char* line;
        Texts texts;
        Kinds kinds;
        Texts raw = {};  // the raw list where it differs
        Kinds rawKinds = {};
    };
    const std::vector<Row> rows = {
        // Quotes
        {"\"\"", {}, {}},
        {"\" \"", {" "}, {2}},
        {"\"a\"\"b\"", {"a\"\"b"}, {2}},  // the word keeps its doubled quotes
        {"\"x\" \"a\"\"b\"", {"x", "a\"b"}, {2, 2}},  // the rest of the line loses them
        {"'x' 'a''b'", {"x", "a'b"}, {2, 2}},
        {"\"x\" 'a''b'", {"x", "a''b"}, {2, 2}},  // only the quote of the word collapses
        {"\"\" \"\"", {"\""}, {2}},
        {"\"", {"\""}, {2}},
        {"\"it's\" w", {"it's", "w"}, {2, 0}},
        {"\"a<b\" c", {"a<b", "c"}, {2, 0}},
        {"\"open quote", {"open quote"}, {2}},
        {"\"b\"", {"b"}, {2}},  // no substitution in a string
        // Character codes and number bases
        {"#65 #955 #9", {"A", "\u03bb", "\t"}, {2, 2, 2}},
        {"$ff $FF $ $fg $xyz", {"255", "255", "0", "15", "0"}, {3, 3, 3, 3, 3}},
        {"%101 % %1021", {"5", "0", "5"}, {3, 3, 3}},
        // Brackets, their elements substituted
        {"<1, b>", {"1,2"}, {3}, {"<1, b>"}, {0}},
        {"<1, 2, 3>", {"1,2,3"}, {3}, {"<1, 2, 3>"}, {0}},
        {"(1; b) {b} [ b ]", {"1;2", "2", "2"}, {3, 3, 3}},
        {"<1, , b,>", {"1,2,"}, {3}, {"<1, , b,>"}, {0}},
        {"<> ()", {}, {}, {"<>"}, {0}},
        {"<", {"<"}, {3}, {"<"}, {0}},
        {"<1, <2, 3>> z", {"1,<2,3>", "z"}, {3, 0}, {"<1, <2, 3>>", "z"}, {0, 0}},
        // Unbalanced brackets swallow the rest of the line
        {"<1 2 3", {"1 2 3"}, {3}, {"<1 2 3"}, {0}},
        {"a) b c", {"a) b c"}, {0}},
        {"(x y", {"x y"}, {3}},
        // Numbers and plain words
        {"-5 3abc .5 b B unknown", {"-5", "3abc", ".5", "2", "2", "unknown"}, {1, 1, 0, 0, 0, 0}},
        {"  b   b  ", {"2", "2"}, {0, 0}},
        // Element access
        {"lst[0] lst[2] lst[7] lst[] lst[i] lst[-1]", {"3", "q", "", "3", "p", "lst[-1]"}, {4, 4, 4, 4, 4, 4}},
        {"none[0] none[1]", {"1", ""}, {4, 4}},
        // @-substitution on the whole line, also inside quotes
        {"@b@b \"@b\" @B @bc", {"22", "2", "2", "2c"}, {1, 2, 1, 1}},  // numbers once substituted
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.line);
        parseParameters(engine, row.line);
        EXPECT_EQ(textsOf(engine.parameters), row.texts);
        EXPECT_EQ(kindsOf(engine.parameters), row.kinds);
        EXPECT_EQ(textsOf(engine.rawParameters), row.raw.empty() && row.rawKinds.empty() ? row.texts : row.raw);
        EXPECT_EQ(kindsOf(engine.rawParameters), row.raw.empty() && row.rawKinds.empty() ? row.kinds : row.rawKinds);
        EXPECT_EQ(parameterCount(engine), static_cast<std::int64_t>(row.texts.size()));
    }
    EXPECT_EQ(capture.console(), "");
    EXPECT_FALSE(engine.stopFlag);
}

TEST_F(ParameterSplit, LongWordsReachTheHandlerWith254Characters) {
    parseParameters(engine, Text(std::string(300, 'w') + " \"" + std::string(300, 's') + "\""));
    EXPECT_EQ(textsOf(engine.parameters), (Texts{std::string(254, 'w'), std::string(254, 's')}));
    setVariable(engine, "v", std::string(200, 'v').c_str());
    parseParameters(engine, "<v, v>");
    EXPECT_EQ(parameterOrEmpty(engine, 1).length(), 254);
}

TEST_F(ParameterSplit, FirstWordNamingAFunctionIsKind8) {
    registerFunction(engine, "twice", twice);
    registerVariableFunction(engine, "random", draw);
    struct Row {
        const char* line;
        Kinds kinds;
    };
    const std::vector<Row> rows = {
        {"twice twice", {8, 0}},
        {"TWICE", {8}},
        {"twices", {8}},  // found through its singular
        {"3 twice", {1, 0}},
        {"\"twice\"", {2}},
        {"twice random", {8, 9}},
        {"random twice", {9, 0}},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.line);
        parseParameters(engine, row.line);
        EXPECT_EQ(kindsOf(engine.parameters), row.kinds);
        EXPECT_EQ(kindsOf(engine.rawParameters), row.kinds);
    }
}

TEST_F(ParameterSplit, VariableFunctionRunsOncePerList) {
    registerVariableFunction(engine, "random", draw);
    parseParameters(engine, "random");
    EXPECT_EQ(drawCount, 2);
    EXPECT_EQ(textsOf(engine.parameters), Texts{"1"});
    EXPECT_EQ(textsOf(engine.rawParameters), Texts{"2"});
    EXPECT_EQ(kindsOf(engine.parameters), Kinds{9});

    parseParameters(engine, "x RANDOM <random>");
    EXPECT_EQ(drawCount, 4);  // inside a list it is a plain element
    EXPECT_EQ(textsOf(engine.parameters), (Texts{"x", "3", "random"}));
    EXPECT_EQ(textsOf(engine.rawParameters), (Texts{"x", "4", "<random>"}));
}

TEST_F(ParameterSplit, VariableFunctionWithoutHandlerFallsBackToTheWord) {
    registerVariableFunction(engine, "broken", nullptr);
    parseParameters(engine, "broken");
    EXPECT_EQ(kindsOf(engine.parameters), Kinds{9});
    EXPECT_EQ(textsOf(engine.parameters), Texts{"broken"});
    EXPECT_TRUE(engine.stopFlag);
    EXPECT_NE(capture.console().find("Syntax error (broken) in line 0 ()! Unknown variable \u03bb function!"),
              std::string::npos);
}

// ---------------------------------------------------------------- substitution

class ParameterSubstitution : public ParameterTest {};

TEST_F(ParameterSubstitution, AtVariablesHaveNoWordBoundary) {
    setVariable(engine, "a", "1");
    struct Row {
        const char* text;
        const char* result;
    };
    const std::vector<Row> rows = {
        {"@a", "1"},       {"@ab", "1b"},    {"x@a@a", "x11"}, {"@A", "1"},
        {"\"@a\"", "\"1\""}, {"a", "a"},      {"@", "@"},       {"", ""},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.text);
        EXPECT_EQ(substituteAtVariables(engine, row.text).toUtf8(), row.result);
    }
}

TEST_F(ParameterSubstitution, AtVariablesGoFromNewestToOldest) {
    struct Row {
        std::vector<std::pair<const char*, const char*>> variables;  // oldest first
        const char* text;
        const char* result;
    };
    const std::vector<Row> rows = {
        {{{"ab", "X"}, {"a", "1"}}, "@ab", "1b"},
        {{{"a", "1"}, {"ab", "X"}}, "@ab", "X"},
        {{{"ab", "X"}}, "@Ab", "@Ab"},  // the name as it is or all upper case
        {{{"ab", "X"}}, "@AB", "X"},
        {{{"d", "x"}, {"c", "@d"}}, "@c", "x"},  // a value may name an older one
        {{{"c", "@d"}, {"d", "x"}}, "@c", "@d"},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.text);
        newMacroEngine(engine);
        for (const auto& [name, value] : row.variables) setVariable(engine, name, value);
        EXPECT_EQ(substituteAtVariables(engine, row.text).toUtf8(), row.result);
    }
}

TEST_F(ParameterSubstitution, VariableValuesChainToOlderRows) {
    struct Row {
        std::vector<std::pair<const char*, const char*>> variables;  // oldest first
        const char* word;
        const char* result;
    };
    const std::vector<Row> rows = {
        {{{"x", "10"}, {"y", "x"}}, "y", "10"},
        {{{"x", "10"}, {"y", "x"}}, "Y", "10"},
        {{{"y", "x"}, {"x", "10"}}, "y", "x"},  // a newer row is not looked at again
        {{{"a", "b"}, {"b", "a"}}, "b", "b"},
        {{{"x", "10"}, {"y", "X"}}, "y", "10"},
        {{{"x", "10"}}, "z", "z"},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.word);
        newMacroEngine(engine);
        for (const auto& [name, value] : row.variables) setVariable(engine, name, value);
        EXPECT_EQ(substituteVariable(engine, row.word).toUtf8(), row.result);
        parseParameters(engine, row.word);
        EXPECT_EQ(parameterOrEmpty(engine, 1).toUtf8(), row.result);
    }
}

// ---------------------------------------------------------------- registers

class ParameterRegisters : public ParameterTest {};

TEST_F(ParameterRegisters, RegisterTextsKeep508Characters) {
    const std::string first(254, 'a'), second(254, 'b');
    struct Row {
        std::string text;
        std::string kept;
    };
    const std::vector<Row> rows = {
        {first, first},
        {first + "X", first},  // character 255 is lost
        {first + "X" + "b", first + "b"},
        {first + "X" + second, first + second},
        {first + "X" + second + "Y" + "tail", first + second},
        {"short", "short"},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.text.size());
        EXPECT_EQ(registerText(Text(row.text)).toUtf8(), row.kept);
        setResult(engine, Text(row.text));
        EXPECT_EQ(getResult(engine).toUtf8(), row.kept);
        setTarget(engine, Text(row.text));
        EXPECT_EQ(getTarget(engine).toUtf8(), row.kept);
    }
}

// ---------------------------------------------------------------- reports

class ParameterReports : public ParameterTest {
protected:
    // The current line is line 2 of a loaded file.
    ParameterReports() {
        std::ofstream("t.macro") << "first\nsecond\nthird\n";
        EXPECT_TRUE(loadMacroFile(engine.lines, "t.macro"));
        engine.currentLine = 2;
    }
    TemporaryWorkingDirectory directory{"corvane-parameters"};
};

TEST_F(ParameterReports, CountReportsAndErrors) {
    struct Row {
        const char* name;
        void (*report)(MacroEngine&);
        const char* line;  // empty: nothing printed
    };
    const std::vector<Row> rows = {
        {"min 1", [](MacroEngine& e) { errorCountMin(e, 1); },
         "Parameter error! Please use min. one parameter in line 2 (t.macro)."},
        {"min 3", [](MacroEngine& e) { errorCountMin(e, 3); },
         "Parameter error! Please use min. 3 parameters in line 2 (t.macro)."},
        {"max 1", [](MacroEngine& e) { errorCountMax(e, 1); },
         "Parameter error! Please use max. one parameter in line 2 (t.macro)."},
        {"max 2", [](MacroEngine& e) { errorCountMax(e, 2); },
         "Parameter error! Please use max. 2 parameters in line 2 (t.macro)."},
        {"exact 0", [](MacroEngine& e) { errorCountExact(e, 0); }, "Parameter error! No parameter needed."},
        {"exact 1", [](MacroEngine& e) { errorCountExact(e, 1); },
         "Parameter error! Please use one parameter in line 2 (t.macro)."},
        {"exact 4", [](MacroEngine& e) { errorCountExact(e, 4); },
         "Parameter error! Please use 4 parameters in line 2 (t.macro)."},
        {"min 0", [](MacroEngine& e) { errorCountMin(e, 0); }, ""},
        {"max 0", [](MacroEngine& e) { errorCountMax(e, 0); }, ""},
        {"error", [](MacroEngine& e) { reportError(e, "bad"); }, "Error (bad) in line 2 (t.macro)!"},
        {"syntax", [](MacroEngine& e) { reportSyntaxError(e, "bad"); }, "Syntax error (bad) in line 2 (t.macro)!"},
        {"parameter 3", [](MacroEngine& e) { EXPECT_EQ(parameter(e, 3).toUtf8(), ""); },
         "Parameter error! Please at least 3 parameters in line 2 (t.macro)."},
        {"parameter 0", [](MacroEngine& e) { EXPECT_EQ(parameter(e, 0).toUtf8(), ""); },
         "Parameter error! Please at least 0 parameters in line 2 (t.macro)."},
        {"raw 2", [](MacroEngine& e) { EXPECT_EQ(rawParameter(e, 2).toUtf8(), ""); },
         "Parameter error! Please at least 2 parameters in line 2 (t.macro)."},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        parseParameters(engine, "one");
        engine.stopFlag = false;
        engine.errorText = Text();
        capture.takeConsole();
        row.report(engine);
        EXPECT_TRUE(engine.stopFlag);
        if (*row.line == '\0') {
            EXPECT_EQ(capture.takeConsole(), "");
        } else {
            EXPECT_EQ(capture.takeConsole(), std::string(row.line) + "\n");
            EXPECT_EQ(engine.errorText.toUtf8(), row.line);
        }
    }
}

TEST_F(ParameterReports, InRangeAndSilentAccessorsDoNotReport) {
    parseParameters(engine, "one two");
    EXPECT_EQ(parameter(engine, 2).toUtf8(), "two");
    EXPECT_EQ(rawParameter(engine, 1).toUtf8(), "one");
    EXPECT_EQ(parameterOrEmpty(engine, 3).toUtf8(), "");
    EXPECT_EQ(parameterOrEmpty(engine, -1).toUtf8(), "");
    EXPECT_FALSE(engine.stopFlag);
    EXPECT_EQ(capture.console(), "");
}

TEST_F(ParameterReports, CountIsChecksOnlyWhileARunGoes) {
    parseParameters(engine, "one two");
    EXPECT_TRUE(countIs(engine, 5));
    EXPECT_EQ(capture.takeConsole(), "");
    engine.runningFlag = true;
    EXPECT_TRUE(countIs(engine, 2));
    EXPECT_FALSE(countIs(engine, 1));
    EXPECT_TRUE(engine.stopFlag);
    EXPECT_EQ(capture.takeConsole(), "Parameter error! Please use one parameter in line 2 (t.macro).\n");
}

}  // namespace
}  // namespace corvane
