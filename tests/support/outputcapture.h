// Test support: routes the console and log sinks into memory for one scope
// and puts the previous streams and settings back afterwards.
#pragma once

#include <cstdio>
#include <cstdlib>
#include <string>

#include "foundation/console.h"

namespace corvane {

class OutputCapture {
public:
    explicit OutputCapture(bool interactive = false, bool withLog = true)
        : savedSettings_(outputSettings), savedStreams_(outputStreams) {
        console_ = open_memstream(&consoleBuffer_, &consoleSize_);
        outputStreams.console = console_;
        outputSettings.consoleActive = true;
        outputSettings.interactive = interactive;
        if (withLog) {
            log_ = open_memstream(&logBuffer_, &logSize_);
            outputStreams.log = log_;
            outputSettings.logActive = true;
        } else {
            outputStreams.log = nullptr;
            outputSettings.logActive = false;
        }
    }
    ~OutputCapture() {
        outputSettings = savedSettings_;
        outputStreams = savedStreams_;
        std::fclose(console_);
        if (log_) std::fclose(log_);
        std::free(consoleBuffer_);
        std::free(logBuffer_);
    }
    OutputCapture(const OutputCapture&) = delete;
    OutputCapture& operator=(const OutputCapture&) = delete;

    std::string console() {
        std::fflush(console_);
        return std::string(consoleBuffer_, consoleSize_);
    }
    std::string log() {
        if (!log_) return {};
        std::fflush(log_);
        return std::string(logBuffer_, logSize_);
    }

private:
    OutputSettings savedSettings_;
    OutputStreams savedStreams_;
    std::FILE* console_ = nullptr;
    std::FILE* log_ = nullptr;
    char* consoleBuffer_ = nullptr;
    char* logBuffer_ = nullptr;
    std::size_t consoleSize_ = 0;
    std::size_t logSize_ = 0;
};

}  // namespace corvane
