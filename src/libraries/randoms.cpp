// Random commands; every draw comes from the process-wide source, so that
// CORVANE_SEED repeats a run.
#include "libraries/randoms.h"

#include <utility>

#include "engine/parameters.h"
#include "engine/registry.h"
#include "foundation/numbers.h"
#include "foundation/random.h"

namespace corvane {

namespace {

// Reads low and high; a wrong count leaves the result empty.
bool readRange(MacroEngine& engine, double& low, double& high) {
    setResult(engine, Text());
    if (parameterCount(engine) != 2) {
        errorCountExact(engine, 2);
        return false;
    }
    low = realOf(parameterOrEmpty(engine, 1));
    high = realOf(parameterOrEmpty(engine, 2));
    return true;
}

// x := random.range <low> <high>: a real, not rounded.
void randomRange(MacroEngine& engine) {
    double low = 0, high = 0;
    if (!readRange(engine, low, high)) return;
    setResult(engine, realToText(low + (high - low) * randomReal()));
}

// x := random.range.nat <low> <high>: an integer, both ends reachable.
void randomRangeNatural(MacroEngine& engine) {
    double low = 0, high = 0;
    if (!readRange(engine, low, high)) return;
    if (high < low) std::swap(low, high);
    setResult(engine, integerToText(roundReal(low + (high - low) * randomReal())));
}

// random, random2..random4: reals in 0 up to 1; the .full forms in -1 up to 1.
template <int count, bool full>
void randomReals(MacroEngine& engine) {
    double values[count];
    for (double& value : values) {
        const double r = randomReal();
        value = full ? 2 * r - 1 : r;
    }
    setResult(engine, count == 1 ? realToText(values[0]) : vectorToText(values, count));
}

// random.byte, random.word and their gray names: an integer below the limit.
template <std::int64_t limit>
void randomInteger(MacroEngine& engine) {
    setResult(engine, integerToText(randomBelow(limit)));
}

// random.rgb, random.rgba: a colour of byte components.
template <int count>
void randomColor(MacroEngine& engine) {
    double values[count];
    for (double& value : values) value = static_cast<double>(randomBelow(256));
    setResult(engine, vectorToText(values, count, VectorStyle::integer));
}

}  // namespace

void registerRandomCommands(MacroEngine& engine) {
    registerFunction        (engine, "random.range",     randomRange);
    registerFunction        (engine, "random.range.nat", randomRangeNatural);
    registerVariableFunction(engine, "random",           randomReals<1, false>);
    registerVariableFunction(engine, "random2",          randomReals<2, false>);
    registerVariableFunction(engine, "random3",          randomReals<3, false>);
    registerVariableFunction(engine, "random4",          randomReals<4, false>);
    registerVariableFunction(engine, "random.full",      randomReals<1, true>);
    registerVariableFunction(engine, "random2.full",     randomReals<2, true>);
    registerVariableFunction(engine, "random3.full",     randomReals<3, true>);
    registerVariableFunction(engine, "random4.full",     randomReals<4, true>);
    registerVariableFunction(engine, "random.byte",      randomInteger<256>);
    registerVariableFunction(engine, "random.gray",      randomInteger<256>);
    registerVariableFunction(engine, "random.word",      randomInteger<65536>);
    registerVariableFunction(engine, "random.fullgray",  randomInteger<65536>);
    registerVariableFunction(engine, "random.rgb",       randomColor<3>);
    registerVariableFunction(engine, "random.rgba",      randomColor<4>);
}

}  // namespace corvane
