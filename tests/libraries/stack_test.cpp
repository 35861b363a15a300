// The stack calculator: tokens as written, values pushed, zero for an empty pop.
#include "libraries/stack.h"

#include <gtest/gtest.h>

#include <cmath>
#include <fstream>
#include <numbers>
#include <vector>

#include "engine/runloop.h"
#include "support/outputcapture.h"
#include "support/tempdirectory.h"

namespace corvane {
namespace {

// Runs `stack.clear` and the given line, then yields the stack bottom to top.
std::vector<Vector4> stackAfter(const char* line) {
    TemporaryWorkingDirectory directory("corvane-stack");
    OutputCapture capture;
    std::ofstream("t.macro") << "stack.clear\n" << line << "\n";
    MacroEngine engine;
    newMacroEngine(engine);
    registerStackCommands(engine);
    loadMacroFile(engine.lines, "t.macro");
    runScript(engine);
    std::vector<Vector4> elements;
    for (std::int64_t i = 1; i <= calculatorStackSize(); ++i) elements.push_back(calculatorStackElement(i));
    return elements;
}

TEST(StackCalculator, ArithmeticTokens) {
    struct Case {
        const char* line;
        std::vector<double> firstComponents;
    };
    const Case cases[] = {
        {"stack 1 2 +", {3}},
        {"stack 1 0 /", {0}},
        {"stack 7 2 /mod", {3, 1}},
        {"stack 7 -2 mod", {1}},
        {"stack 50 %", {0.5}},
        {"stack 3 \u00b2", {9}},
        {"stack 2 10 ^", {1024}},
        {"stack <3, 4> |", {5}},
        {"stack 4 inv neg", {-0.25}},
        {"stack 2 8 log", {3}},
        {"stack :", {}},
        {"stack 5 swap", {5}},
        {"stack 1 2 3 rot", {3, 2, 1}},
        {"stack 1 2 over", {1, 2, 1}},
        {"stack 1 2 3 4 sum", {1, 2, 3, 4, 10}},
        {"stack 2 4 mean", {2, 4, 3}},
        {"stack +", {0}},  // an empty stack pops zeros
        {"stack 1 2 \u00a7", {2, 1}},
    };
    for (const Case& c : cases) {
        const std::vector<Vector4> elements = stackAfter(c.line);
        ASSERT_EQ(elements.size(), c.firstComponents.size()) << c.line;
        for (std::size_t i = 0; i < elements.size(); ++i)
            EXPECT_DOUBLE_EQ(elements[i].x, c.firstComponents[i]) << c.line << " element " << i + 1;
    }
}

TEST(StackCalculator, DegreesAndVectors) {
    EXPECT_NEAR(stackAfter("stack 180 \u00b0")[0].x, std::numbers::pi, 1e-15);
    const Vector4 sum = stackAfter("stack <1, 2, 3> <4, 5, 6> +")[0];
    EXPECT_EQ(sum.y, 7);
    EXPECT_EQ(sum.z, 9);
    const Vector4 cross = stackAfter("stack <1, 0, 0, 0> <0, 1, 0, 0> <0, 0, 1, 0> x")[0];
    EXPECT_EQ(std::fabs(cross.w), 1);
    EXPECT_EQ(stackAfter("stack <2> <0, 3> <0, 0, 4> <0, 0, 0, 5> d")[0].x, 120);
}

}  // namespace
}  // namespace corvane
