// Trace forms: plain and coloured, console only, silent with the trace off.
#include "engine/diagnostics.h"

#include <gtest/gtest.h>

#include "engine/parameters.h"
#include "engine/registry.h"
#include "engine/runloop.h"
#include "support/outputcapture.h"

namespace corvane {
namespace {

void resultFunction(MacroEngine& engine) { setResult(engine, "r"); }

class Trace : public ::testing::Test {
protected:
    void SetUp() override {
        newMacroEngine(engine);
        registerFunction(engine, "f", resultFunction);
        registerVariableFunction(engine, "v", resultFunction);
    }
    MacroEngine engine;
};

TEST_F(Trace, PlainForms) {
    OutputCapture capture(/*interactive=*/false);
    traceWord(engine, "repeat");
    traceWordText(engine, "for", "1..3");
    parseParameters(engine, "f 7 \"text\" <1, 2> word");
    traceStatement(engine, "print");
    traceAssignment(engine, "a", ":=", "12");
    parseParameters(engine, "1 two");
    traceCall(engine, "x", "f");
    EXPECT_EQ(capture.console(),
              " repeat|\n"
              " for|1..3|\n"
              " print|f|7|text|1,2|word|\n"
              " a :=|12|\n"
              " x := [f]|1|two|\n");
    EXPECT_EQ(capture.log(), "");  // a log records what the script printed, not the trace
}

TEST_F(Trace, ColoursFollowTheParameterKinds) {
    OutputCapture capture(/*interactive=*/true);
    parseParameters(engine, "f 7 \"text\" <1> word v");
    traceStatement(engine, "print");
    traceAssignment(engine, "a", "+=", "3");
    EXPECT_EQ(capture.console(),
              " \x1b[32mprint\x1b[0m|\x1b[32mf\x1b[0m|\x1b[34m7\x1b[0m|\x1b[91mtext\x1b[0m|\x1b[34m1\x1b[0m|word|"
              "\x1b[32mr\x1b[0m|\n"
              " \x1b[33ma\x1b[0m \x1b[32m+=\x1b[0m|3|\n");
}

TEST_F(Trace, SilentWithTheTraceOff) {
    OutputCapture capture(/*interactive=*/false);
    engine.traceFlag = false;
    traceWord(engine, "repeat");
    traceAssignment(engine, "a", ":=", "1");
    EXPECT_EQ(capture.console(), "");
}

}  // namespace
}  // namespace corvane
