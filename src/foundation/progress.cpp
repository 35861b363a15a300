// Progress line: spinner and percent forms, rate-limited, console only.
#include "foundation/progress.h"

#include <chrono>

#include "foundation/console.h"

namespace corvane {

ProgressState progress;

namespace {

constexpr std::int64_t lineLimit = 80;

std::int64_t hundredthsOf(const TimeOfDay& t) {
    return (((t.day * 24 + t.hour) * 60 + t.minute) * 60 + t.second) * 100 + t.hundredth;
}

std::int64_t wholeSecondOf(const TimeOfDay& t) { return hundredthsOf(t) / 100; }

TimeOfDay now() { return progress.clock ? progress.clock() : timeOfDay(); }

// Progress never reaches the log, whatever else happens during an update.
class LogOff {
public:
    LogOff() : saved_(outputSettings.logActive) { outputSettings.logActive = false; }
    ~LogOff() { outputSettings.logActive = saved_; }

private:
    bool saved_;
};

// Writes the line over the one standing: cut to 80 characters, padded with
// blanks to the old length, then "\r" or a line end.
void showLine(const Text& line, bool final) {
    Text shown = line.copy(1, lineLimit);
    const std::int64_t oldLength = progress.lastLine.length();
    const Text padded = shown.padRight(oldLength);
    writeConsole(padded.toUtf8() + (final ? "\n" : "\r"));
    flushOutput();
    progress.lastLine = final ? Text() : shown;
}

Text timesText(const TimeOfDay& at) {
    return elapsedSince(progress.startTime, at) + " of " + elapsedSince(progress.programStart, at);
}

void callHook() {
    if (progress.hook) progress.hook();
}

}  // namespace

TimeOfDay timeOfDay() {
    using namespace std::chrono;
    const auto sinceEpoch = duration_cast<milliseconds>(system_clock::now().time_since_epoch()).count();
    std::int64_t hundredths = sinceEpoch / 10;
    TimeOfDay t;
    t.hundredth = hundredths % 100;
    std::int64_t seconds = hundredths / 100;
    t.second = seconds % 60;
    t.minute = seconds / 60 % 60;
    t.hour = seconds / 3600 % 24;
    t.day = seconds / 86400;
    return t;
}

Duration elapsedBetween(const TimeOfDay& from, const TimeOfDay& to) {
    std::int64_t seconds = (hundredthsOf(to) - hundredthsOf(from)) / 100;
    if (seconds < 0) seconds = 0;
    Duration d;
    d.seconds = seconds % 60;
    d.minutes = seconds / 60 % 60;
    d.hours = seconds / 3600 % 24;
    d.days = seconds / 86400;
    return d;
}

Text elapsedSince(const TimeOfDay& from, const TimeOfDay& to) { return durationToText(elapsedBetween(from, to)); }

Text elapsedSince(const TimeOfDay& from) { return elapsedSince(from, now()); }

void markProgramStart() { progress.programStart = now(); }

void wait(const Text& title) {
    LogOff logOff;
    const TimeOfDay at = now();
    if (!progress.title.equals(title)) {
        progress.startTime = at;
        progress.lastSecond = wholeSecondOf(at);
        showLine("Please wait. " + title + " (" + elapsedSince(progress.programStart, at) + "). -", false);
        progress.phase = 2;
        progress.fraction = 0.5;
        progress.title = title;
        callHook();
        return;
    }
    if (wholeSecondOf(at) == progress.lastSecond) return;
    progress.lastSecond = wholeSecondOf(at);
    static constexpr const char* spinnerEnds[] = {"). -", "). \\", "). |", "). /"};
    const std::int64_t phase = progress.phase >= 1 && progress.phase <= 4 ? progress.phase : 1;
    showLine("Please wait. " + title + " (" + timesText(at) + spinnerEnds[phase - 1], false);
    progress.phase = phase + 1 > 4 ? 1 : phase + 1;
    progress.fraction = static_cast<double>(progress.phase) * 0.25;
    callHook();
}

void waitDone() {
    if (progress.title.empty()) return;
    LogOff logOff;
    showLine("Please wait ready. " + progress.title.toText() + " (" + timesText(now()) + ").", true);
    progress.title = Text();
}

void ready(double fraction, const Text& title) {
    LogOff logOff;
    const TimeOfDay at = now();
    progress.fraction = fraction < 0 ? 0 : fraction > 1 ? 1 : fraction;
    progress.phase = 1;
    if (!progress.title.equals(title)) {
        progress.startTime = at;
        progress.lastSecond = wholeSecondOf(at);
        showLine(title + ". 0 % ready (" + timesText(at) + ").", false);
        progress.fraction = 0;
        progress.title = title;
        callHook();
        return;
    }
    if (wholeSecondOf(at) == progress.lastSecond) return;
    progress.lastSecond = wholeSecondOf(at);
    const Text percent = realToTextDigits(progress.fraction * 100, 2);
    showLine(title + ". " + percent + " % ready (" + timesText(at) + ").", false);
    callHook();
}

void readyDone() {
    if (progress.title.empty()) return;
    LogOff logOff;
    progress.fraction = 1;
    showLine(progress.title.toText() + ". 100 % ready (" + timesText(now()) + ").", true);
    progress.title = Text();
}

}  // namespace corvane
