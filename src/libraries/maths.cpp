// math.* settings and vector commands.
#include "libraries/maths.h"

#include <cmath>
#include <functional>
#include <vector>

#include "engine/parameters.h"
#include "engine/registry.h"
#include "foundation/numbers.h"

namespace corvane {

namespace {

using Hyper = Vector4;

Hyper hyperOf(const Text& text) {
    Text rest = text;
    return readVector4(rest);
}

double dot(const Hyper& a, const Hyper& b) { return a.x * b.x + a.y * b.y + a.z * b.z + a.w * b.w; }

Hyper scaled(const Hyper& v, double divisor) {
    if (divisor == 0 || !std::isfinite(divisor)) return {};
    return {v.x / divisor, v.y / divisor, v.z / divisor, v.w / divisor};
}

// ---- settings ----------------------------------------------------------------

// One parameter, read as a switch or a number, into the number settings.
bool settingParameter(MacroEngine& engine, Text& value) {
    if (parameterCount(engine) != 1) {
        errorCountExact(engine, 1);
        return false;
    }
    value = parameterOrEmpty(engine, 1);
    return true;
}

template <bool NumberSettings::*setting>
void switchSetting(MacroEngine& engine) {
    Text value;
    if (settingParameter(engine, value)) numberSettings.*setting = readBool(value);
}

template <std::int32_t NumberSettings::*setting>
void numberSetting(MacroEngine& engine) {
    Text value;
    if (settingParameter(engine, value)) numberSettings.*setting = static_cast<std::int32_t>(readInteger(value));
}

// ---- vector lists --------------------------------------------------------------

// Applies `each` to every parameter and joins the answers by a blank.
void vectorList(MacroEngine& engine, const std::function<Text(const Hyper&)>& each) {
    setResult(engine, Text());
    if (parameterCount(engine) < 1) {
        errorCountMin(engine, 1);
        return;
    }
    Text answer;
    for (std::int64_t i = 1; i <= parameterCount(engine); ++i) {
        if (i > 1) answer += " ";
        answer += each(hyperOf(parameterOrEmpty(engine, i)));
    }
    setResult(engine, answer);
}

// math.norm <vector> ...
void mathNorm(MacroEngine& engine) {
    vectorList(engine, [](const Hyper& v) { return vector4ToText(scaled(v, std::sqrt(dot(v, v)))); });
}

// math.minnorm <vector> ...
void mathMinNorm(MacroEngine& engine) {
    vectorList(engine, [](const Hyper& v) {
        return vector4ToText(scaled(v, std::fmin(std::fmin(v.x, v.y), std::fmin(v.z, v.w))));
    });
}

// math.maxnorm <vector> ...
void mathMaxNorm(MacroEngine& engine) {
    vectorList(engine, [](const Hyper& v) {
        return vector4ToText(scaled(v, std::fmax(std::fmax(v.x, v.y), std::fmax(v.z, v.w))));
    });
}

// math.length <vector> ...
void mathLength(MacroEngine& engine) {
    vectorList(engine, [](const Hyper& v) { return shortRealToText(std::sqrt(dot(v, v))); });
}

// math.angle <vector> <vector>
void mathAngle(MacroEngine& engine) {
    setResult(engine, Text());
    if (parameterCount(engine) != 2) {
        errorCountExact(engine, 2);
        return;
    }
    const Hyper a = hyperOf(parameterOrEmpty(engine, 1)), b = hyperOf(parameterOrEmpty(engine, 2));
    const double lengths = std::sqrt(dot(a, a)) * std::sqrt(dot(b, b));
    double angle = 0;
    if (lengths != 0) angle = std::acos(std::fmax(-1.0, std::fmin(1.0, dot(a, b) / lengths)));
    setResult(engine, shortRealToText(angle));
}

}  // namespace

void registerMathsCommands(MacroEngine& engine) {
    registerOptionProcedure(engine, "math.scientific", switchSetting<&NumberSettings::ScientificMode>);
    registerOptionProcedure(engine, "math.decimal",    switchSetting<&NumberSettings::DecimalPointMode>);
    registerOptionProcedure(engine, "math.digit",      switchSetting<&NumberSettings::ThousandsMode>);
    registerOptionProcedure(engine, "math.leading",    numberSetting<&NumberSettings::leading>);
    registerOptionProcedure(engine, "math.trailing",   numberSetting<&NumberSettings::trailing>);
    registerOptionProcedure(engine, "math.degree",     switchSetting<&NumberSettings::degree>);
    registerOptionProcedure(engine, "math.vector",     switchSetting<&NumberSettings::vector>);
    registerOptionProcedure(engine, "math.matrix",     switchSetting<&NumberSettings::matrix>);
    registerFunction       (engine, "math.minnorm",    mathMinNorm);
    registerFunction       (engine, "math.norm",       mathNorm);
    registerFunction       (engine, "math.maxnorm",    mathMaxNorm);
    registerFunction       (engine, "math.length",     mathLength);
    registerFunction       (engine, "math.angle",      mathAngle);
}

}  // namespace corvane
