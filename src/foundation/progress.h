// Progress display: the spinner line of `wait` and the percent line of
// `ready`, at most one update a second, never in the log.
#pragma once

#include <cstdint>

#include "foundation/numbers.h"
#include "foundation/text.h"

namespace corvane {

struct TimeOfDay {
    std::int64_t day = 0, hour = 0, minute = 0, second = 0, hundredth = 0;
};
using ClockSource = TimeOfDay (*)();
using ProgressHook = void (*)();

struct ProgressState {
    ProgressHook hook = nullptr;  // called after each update
    std::int64_t phase = 1;       // spinner phase 1..4
    double fraction = 0;          // 0..1, read by the hook
    ShortText title;              // running task, empty when none
    ShortText lastLine;           // line now standing on the console
    TimeOfDay startTime;          // first update of this title
    TimeOfDay programStart;
    std::int64_t lastSecond = -1;  // whole second of the last update
    ClockSource clock = nullptr;   // null: the system clock
};
extern ProgressState progress;

TimeOfDay timeOfDay();
// Whole days, hours, minutes and seconds between two times; hundredths 0.
Duration elapsedBetween(const TimeOfDay& from, const TimeOfDay& to);
Text elapsedSince(const TimeOfDay& from);
Text elapsedSince(const TimeOfDay& from, const TimeOfDay& to);
void markProgramStart();

void wait(const Text& title);
void waitDone();
void ready(double fraction, const Text& title);
void readyDone();

}  // namespace corvane
