// Test support: routes the console and log sinks into memory for one scope
// and puts the previous streams and settings back afterwards. console() and
// log() give everything so far; takeConsole() and takeLog() give what arrived
// since the previous take.
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
        outputStreams.console = console_.open();
        outputSettings.consoleActive = true;
        outputSettings.interactive = interactive;
        outputStreams.log = withLog ? log_.open() : nullptr;
        outputSettings.logActive = withLog;
    }
    ~OutputCapture() {
        outputSettings = savedSettings_;
        outputStreams = savedStreams_;
    }
    OutputCapture(const OutputCapture&) = delete;
    OutputCapture& operator=(const OutputCapture&) = delete;

    std::string console() { return console_.from(0); }
    std::string log() { return log_.from(0); }
    std::string takeConsole() { return console_.take(); }
    std::string takeLog() { return log_.take(); }

private:
    // One memory stream and how far the takes have read it.
    struct Sink {
        std::FILE* file = nullptr;
        char* buffer = nullptr;
        std::size_t size = 0;
        std::size_t taken = 0;

        Sink() = default;
        Sink(const Sink&) = delete;
        Sink& operator=(const Sink&) = delete;
        ~Sink() {
            if (file) std::fclose(file);
            std::free(buffer);
        }
        std::FILE* open() { return file = open_memstream(&buffer, &size); }
        std::string from(std::size_t start) {
            if (!file) return {};
            std::fflush(file);
            return std::string(buffer + start, size - start);
        }
        std::string take() {
            std::string text = from(taken);
            taken = size;
            return text;
        }
    };

    OutputSettings savedSettings_;
    OutputStreams savedStreams_;
    Sink console_;
    Sink log_;
};

}  // namespace corvane
