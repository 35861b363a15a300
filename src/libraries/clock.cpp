// Time, calendar and timer commands.
#include "libraries/clock.h"

#include <chrono>
#include <ctime>

#include "engine/parameters.h"
#include "engine/registry.h"
#include "foundation/numbers.h"
#include "foundation/progress.h"

namespace corvane {

namespace {

// Zero until timer.start, so that timer.get before it measures from zero.
TimeOfDay timerStart;

struct LocalTime {
    std::tm parts{};
    std::int64_t millisecond = 0;
};

// The present time as the user's clock shows it.
LocalTime localNow() {
    using namespace std::chrono;
    const auto sinceEpoch = duration_cast<milliseconds>(system_clock::now().time_since_epoch()).count();
    LocalTime now;
    const std::time_t seconds = static_cast<std::time_t>(sinceEpoch / 1000);
    localtime_r(&seconds, &now.parts);
    now.millisecond = sinceEpoch % 1000;
    return now;
}

// timer.start: the stop watch is process-wide, not one per engine.
void timerStartCommand() { timerStart = timeOfDay(); }
// x := timer.get
void timerGet(MacroEngine& engine) { setResult(engine, elapsedSince(timerStart)); }

void hour(MacroEngine& engine) { setResult(engine, integerToText(localNow().parts.tm_hour)); }
void minute(MacroEngine& engine) { setResult(engine, integerToText(localNow().parts.tm_min)); }
void second(MacroEngine& engine) { setResult(engine, integerToText(localNow().parts.tm_sec)); }
// milliscond: the name is spelt so on purpose.
void millisecond(MacroEngine& engine) { setResult(engine, integerToText(localNow().millisecond)); }

void timestamp(MacroEngine& engine) {
    const LocalTime now = localNow();
    setResult(engine, integerToText(now.parts.tm_hour) + ":" + integerToText(now.parts.tm_min) + ":" +
                          integerToText(now.parts.tm_sec) + ":" + integerToText(now.millisecond));
}

void year(MacroEngine& engine) { setResult(engine, integerToText(localNow().parts.tm_year + 1900)); }
void month(MacroEngine& engine) { setResult(engine, integerToText(localNow().parts.tm_mon + 1)); }
void day(MacroEngine& engine) { setResult(engine, integerToText(localNow().parts.tm_mday)); }

// Day 1 is Sunday; "Wensday" is the name scripts compare with.
Text weekdayName(std::int64_t day) {
    static const char* const names[] = {"Sunday",   "Monday", "Tuesday", "Wensday",
                                        "Thursday", "Friday", "Saturday"};
    if (day < 1 || day > 7) return Text();
    return names[day - 1];
}

void weekday(MacroEngine& engine) { setResult(engine, weekdayName(localNow().parts.tm_wday + 1)); }

void datestamp(MacroEngine& engine) {
    const LocalTime now = localNow();
    setResult(engine, integerToText(now.parts.tm_year + 1900) + "_" + integerToText(now.parts.tm_mon + 1) + "_" +
                          integerToText(now.parts.tm_mday));
}

// x := leapyear <year>: the Gregorian rule.
void leapyear(MacroEngine& engine) {
    setResult(engine, Text());
    if (parameterCount(engine) != 1) {
        errorCountExact(engine, 1);
        return;
    }
    const std::int64_t year = integerOf(parameterOrEmpty(engine, 1));
    const bool leap = (year % 4 == 0 && year % 100 != 0) || year % 400 == 0;
    setResult(engine, leap ? "1" : "0");
}

}  // namespace

void registerTimeCommands(MacroEngine& engine) {
    registerProcedure       (engine, "timer.start", timerStartCommand);
    registerFunction        (engine, "timer.get",   timerGet);
    registerVariableFunction(engine, "hour",        hour);
    registerVariableFunction(engine, "minute",      minute);
    registerVariableFunction(engine, "second",      second);
    registerVariableFunction(engine, "milliscond",  millisecond);
    registerVariableFunction(engine, "timestamp",   timestamp);
    registerVariableFunction(engine, "year",        year);
    registerVariableFunction(engine, "month",       month);
    registerVariableFunction(engine, "day",         day);
    registerVariableFunction(engine, "weekday",     weekday);
    registerFunction        (engine, "leapyear",    leapyear);
    registerVariableFunction(engine, "datestamp",   datestamp);
}

}  // namespace corvane
