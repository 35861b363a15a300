// minimize and maximize.
#include "engine/search.h"

#include <cmath>
#include <functional>
#include <vector>

#include "engine/diagnostics.h"
#include "engine/parameters.h"
#include "foundation/numbers.h"

namespace corvane {

namespace {

struct Search {
    MacroEngine& engine;
    std::int64_t line;
    bool minimizing;
    std::vector<Text> names;
    std::vector<double> values;
    double low, high;

    void setVariables() {
        for (std::size_t i = 0; i < names.size(); ++i) setVariable(engine, names[i], realToText(values[i]));
    }
    // Runs the block once with the variables as they stand; true when result holds.
    bool trial() {
        nameBlock(engine, minimizing ? "minimize" : "maximize");
        runBlock(engine, line, true);
        engine.resultText = registerText(readVariable(engine, "result"));
        if (engine.resultText.empty()) {
            reportError(engine, minimizing ? "Please define the status of the minimization via the variable 'result'!"
                                           : "Please define the status of the maximization via the variable 'result'!");
        }
        return readBool(engine.resultText);
    }
    bool fullTrial() {
        setVariables();
        return trial();
    }
};

// Phase 1: all values move together until result holds or the range ends.
void movingPhase(Search& search, const std::function<double(double)>& forward,
                 const std::function<double(double)>& back) {
    for (;;) {
        search.setVariables();
        for (double& value : search.values) value = forward(value);
        const bool met = search.trial();
        const double first = search.values.front();
        if ((search.minimizing ? first > search.high : first < search.low) || met || search.engine.stopFlag) break;
    }
    const double first = search.values.front();
    // The step back differs between the two searches on purpose.
    if (search.minimizing ? first > search.low : first < search.low) {
        for (double& value : search.values) value = back(value);
    }
}

// Phase 2: each value alone moves back while result still holds.
void sweepPhase(Search& search, const std::function<double(double)>& toward,
                const std::function<double(double)>& away) {
    const std::size_t count = search.values.size();
    for (;;) {
        std::size_t finished = 0;
        for (std::size_t i = 0; i < count && !search.engine.stopFlag; ++i) {
            const double moved = toward(search.values[i]);
            if (search.minimizing ? moved < search.low : moved > search.high) {
                ++finished;
                continue;
            }
            search.values[i] = moved;
            if (!search.fullTrial()) {
                search.values[i] = away(moved);
                ++finished;
            }
        }
        if (finished == count || search.engine.stopFlag) return;
    }
}

std::int64_t searchStatement(MacroEngine& engine, std::int64_t line, const Text& remainder, bool minimizing) {
    // The variables' names stand as written; the range is substituted.
    splitParameters(engine, substituteAtVariables(engine, remainder));
    std::vector<Text> names;
    for (std::int64_t i = 4; i <= parameterCount(engine); ++i) names.push_back(parameterOrEmpty(engine, i));
    parseParameters(engine, remainder);
    if (parameterCount(engine) < 4) {
        errorCountMin(engine, 4);
        return line;
    }
    double low = realOf(parameterOrEmpty(engine, 1));
    double step = realOf(parameterOrEmpty(engine, 2));
    double high = realOf(parameterOrEmpty(engine, 3));
    if (high < low) std::swap(low, high);
    if (!(high - low > 0)) return line;  // nothing, and the block is not skipped either
    setVariable(engine, "result", Text());
    Search search{engine, line, minimizing, {}, {}, low, high};
    search.names = names;
    search.values.assign(names.size(), minimizing ? low : high);
    traceWordText(engine, minimizing ? "minimize" : "maximize",
                  realToText(low) + "..(" + realToText(step) + ").." + realToText(high));
    step = std::fabs(step);
    const bool decades = step == 0;
    const auto up = [decades, step](double v) { return decades ? v * 10 : v + step; };
    const auto down = [decades, step](double v) { return decades ? v * 0.1 : v - step; };
    {
        NumberSettingsGuard keep;
        if (decades) numberSettings.ScientificMode = true;
        if (minimizing) {
            movingPhase(search, up, down);
            sweepPhase(search, down, up);
        } else {
            movingPhase(search, down, up);
            sweepPhase(search, up, down);
        }
    }
    if (decades && !engine.stopFlag) {
        // A finer sweep by a tenth of each value.
        NumberSettingsGuard keep;
        numberSettings.ScientificMode = true;
        const auto tenthDown = [](double v) { return v - v * 0.1; };
        const auto tenthUp = [](double v) { return v + v * 0.1; };
        if (minimizing) {
            sweepPhase(search, tenthDown, tenthUp);
        } else {
            sweepPhase(search, tenthUp, tenthDown);
        }
    }
    // Each variable gets the value the search found.
    if (!engine.stopFlag) search.setVariables();
    return line;  // the block's lines are read once more as ordinary lines
}

std::int64_t minimizeStatement(MacroEngine& engine, std::int64_t line, const Text& remainder) {
    return searchStatement(engine, line, remainder, true);
}

std::int64_t maximizeStatement(MacroEngine& engine, std::int64_t line, const Text& remainder) {
    return searchStatement(engine, line, remainder, false);
}

}  // namespace

void addSearchWords(WordTable& words) {
    words["minimize"] = {minimizeStatement, false};
    words["maximize"] = {maximizeStatement, false};
}

}  // namespace corvane
