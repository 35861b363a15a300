// The postfix stack calculator on four-component values, and stack.*.
#include "libraries/stack.h"

#include <algorithm>
#include <cmath>
#include <functional>
#include <limits>
#include <numbers>
#include <string>
#include <unordered_map>
#include <vector>

#include "engine/parameters.h"
#include "engine/registry.h"
#include "foundation/maths.h"
#include "foundation/numbers.h"

namespace corvane {

namespace {

using Hyper = Vector4;

// The one calculator stack of the process; the last element is the top.
std::vector<Hyper>& calculatorStack() {
    static std::vector<Hyper> stack;
    return stack;
}

// Popping an empty stack gives zero.
Hyper pop() {
    std::vector<Hyper>& stack = calculatorStack();
    if (stack.empty()) return {};
    const Hyper top = stack.back();
    stack.pop_back();
    return top;
}

void push(const Hyper& value) { calculatorStack().push_back(value); }

Hyper number(double value) { return {value, 0, 0, 0}; }

Hyper byComponent(const Hyper& a, const Hyper& b, const std::function<double(double, double)>& op) {
    return {op(a.x, b.x), op(a.y, b.y), op(a.z, b.z), op(a.w, b.w)};
}

Hyper byComponent(const Hyper& a, const std::function<double(double)>& op) {
    return {op(a.x), op(a.y), op(a.z), op(a.w)};
}

double truncated(double value) { return static_cast<double>(truncateReal(value)); }

// Statistics over all elements, by component; none popped.
Hyper sum() {
    Hyper total;
    for (const Hyper& h : calculatorStack()) total = byComponent(total, h, std::plus<double>());
    return total;
}

Hyper mean() {
    const std::size_t count = calculatorStack().size();
    if (count == 0) return {};
    const double n = static_cast<double>(count);
    return byComponent(sum(), [n](double v) { return v / n; });
}

Hyper variance() {
    const std::size_t count = calculatorStack().size();
    if (count == 0) return {};
    const Hyper average = mean();
    Hyper squares;
    for (const Hyper& h : calculatorStack()) {
        const Hyper d = byComponent(h, average, std::minus<double>());
        squares = byComponent(squares, byComponent(d, d, std::multiplies<double>()), std::plus<double>());
    }
    const double n = static_cast<double>(count);
    return byComponent(squares, [n](double v) { return v / n; });
}

// Whole elements compared by their norm; the start value is infinite.
Hyper extreme(bool smallest) {
    double best = smallest ? std::numeric_limits<double>::infinity() : -std::numeric_limits<double>::infinity();
    Hyper found;
    for (const Hyper& h : calculatorStack()) {
        const double size = std::sqrt(dot(h, h));
        if (smallest ? size < best : size > best) {
            best = size;
            found = h;
        }
    }
    return found;
}

using Action = std::function<void()>;

const std::unordered_map<std::string, Action>& tokens() {
    static const std::unordered_map<std::string, Action> table = {
        {":", [] { calculatorStack().clear(); }},
        {"\u00a7", [] { std::reverse(calculatorStack().begin(), calculatorStack().end()); }},
        {"+", [] { const Hyper b = pop(), a = pop(); push(byComponent(a, b, std::plus<double>())); }},
        {"-", [] { const Hyper b = pop(), a = pop(); push(byComponent(a, b, std::minus<double>())); }},
        {"*", [] { const Hyper b = pop(), a = pop(); push(byComponent(a, b, std::multiplies<double>())); }},
        {"/", [] {
             const Hyper b = pop(), a = pop();
             push(byComponent(a, b, [](double x, double y) { return y == 0 ? 0 : x / y; }));
         }},
        {"\u00b2", [] { const Hyper a = pop(); push(byComponent(a, a, std::multiplies<double>())); }},
        {"\u00b3", [] { const Hyper a = pop(); push(byComponent(a, [](double v) { return v * v * v; })); }},
        {"^", [] {
             const Hyper b = pop(), a = pop();
             push(byComponent(a, [&b](double v) { return std::pow(v, b.x); }));
         }},
        {"|", [] { const Hyper a = pop(); push(number(std::sqrt(dot(a, a)))); }},
        {"%", [] { const Hyper a = pop(); push(byComponent(a, [](double v) { return v * 0.01; })); }},
        {"\u00b0", [] { const Hyper a = pop(); push(byComponent(a, [](double v) { return v * std::numbers::pi / 180; })); }},
        {"o", [] { const Hyper b = pop(), a = pop(); push(number(dot(a, b))); }},
        {"x", [] { const Hyper c = pop(), b = pop(), a = pop(); push(cross(a, b, c)); }},
        {"d", [] { const Hyper d = pop(), c = pop(), b = pop(), a = pop(); push(number(determinant(a, b, c, d))); }},
        {"sd", [] { push(byComponent(variance(), [](double v) { return std::sqrt(v); })); }},
        {"neg", [] { const Hyper a = pop(); push(byComponent(a, [](double v) { return -v; })); }},
        {"inv", [] { const Hyper a = pop(); push(byComponent(a, [](double v) { return v == 0 ? 0 : 1 / v; })); }},
        {"log", [] {
             const Hyper b = pop(), a = pop();
             const double base = std::log(a.x);
             push(number(base == 0 ? 0 : std::log(b.x) / base));
         }},
        {"sin", [] { push(number(std::sin(pop().x))); }},
        {"cos", [] { push(number(std::cos(pop().x))); }},
        {"tan", [] { push(number(std::tan(pop().x))); }},
        {"arcsin", [] { push(number(std::asin(pop().x))); }},
        {"arccos", [] { push(number(std::acos(pop().x))); }},
        {"arctan", [] { push(number(std::atan(pop().x))); }},
        {"min", [] { push(extreme(true)); }},
        {"max", [] { push(extreme(false)); }},
        {"sum", [] { push(sum()); }},
        {"mean", [] { push(mean()); }},
        {"var", [] { push(variance()); }},
        {"mod", [] {
             const Hyper b = pop(), a = pop();
             push(byComponent(a, b, [](double x, double y) {
                 const double divisor = truncated(y);
                 return divisor == 0 ? 0 : std::fmod(truncated(x), divisor);
             }));
         }},
        {"/mod", [] {
             const Hyper b = pop(), a = pop();
             push(byComponent(a, b, [](double x, double y) {
                 const double divisor = truncated(y);
                 return divisor == 0 ? 0 : std::trunc(truncated(x) / divisor);
             }));
             push(byComponent(a, b, [](double x, double y) {
                 const double divisor = truncated(y);
                 return divisor == 0 ? 0 : std::fmod(truncated(x), divisor);
             }));
         }},
        {"dup", [] { const Hyper a = pop(); push(a); push(a); }},
        {"over", [] {
             std::vector<Hyper>& stack = calculatorStack();
             if (stack.size() >= 2) push(stack[stack.size() - 2]);
         }},
        {"swap", [] {
             std::vector<Hyper>& stack = calculatorStack();
             if (stack.size() >= 2) std::swap(stack[stack.size() - 1], stack[stack.size() - 2]);
         }},
        {"rot", [] { const Hyper c = pop(), b = pop(), a = pop(); push(c); push(b); push(a); }},
        {"drop", [] { pop(); }},
    };
    return table;
}

// stack <value or token> ...: tokens compared as written, values pushed.
void stack(MacroEngine& engine) {
    const std::vector<Text> words = writtenWords(engine, engine.frame ? engine.frame->remainder : Text());
    for (std::int64_t i = 1; i <= parameterCount(engine); ++i) {
        const auto index = static_cast<std::size_t>(i - 1);
        const Text written = index < words.size() ? words[index] : Text();
        const auto token = tokens().find(written.toUtf8());
        if (token != tokens().end()) {
            token->second();
            continue;
        }
        Text value = parameterOrEmpty(engine, i);
        push(readVector4(value));
    }
}

// stack.length, stack.size
void stackLength(MacroEngine& engine) {
    setResult(engine, integerToText(static_cast<std::int64_t>(calculatorStack().size())));
}

// stack.clean, stack.clear
void stackClear() { calculatorStack().clear(); }

// stack.flip
void stackFlip() { std::reverse(calculatorStack().begin(), calculatorStack().end()); }

}  // namespace

std::int64_t calculatorStackSize() { return static_cast<std::int64_t>(calculatorStack().size()); }

Vector4 calculatorStackElement(std::int64_t index) {
    if (index < 1 || index > calculatorStackSize()) return {};
    return calculatorStack()[static_cast<std::size_t>(index - 1)];
}

void registerStackCommands(MacroEngine& engine) {
    registerOptionProcedure(engine, "stack",        stack);
    registerFunction       (engine, "stack.length", stackLength);
    registerFunction       (engine, "stack.size",   stackLength);
    registerProcedure      (engine, "stack.clean",  stackClear);
    registerProcedure      (engine, "stack.clear",  stackClear);
    registerProcedure      (engine, "stack.flip",   stackFlip);
}

}  // namespace corvane
