// Test support: makes a fresh directory under /tmp the working directory for
// one scope, then goes back to the previous one and removes the directory
// with everything in it.
#pragma once

#include <stdlib.h>

#include <cerrno>
#include <filesystem>
#include <string>
#include <system_error>

namespace corvane {

class TemporaryWorkingDirectory {
public:
    // The directory is named /tmp/<prefix>-XXXXXX.
    explicit TemporaryWorkingDirectory(const std::string& prefix = "corvane")
        : previous_(std::filesystem::current_path()) {
        std::string pattern = "/tmp/" + prefix + "-XXXXXX";
        if (!::mkdtemp(pattern.data())) throw std::system_error(errno, std::generic_category(), "mkdtemp");
        path_ = pattern;
        std::error_code error;
        std::filesystem::current_path(path_, error);
        if (error) {
            std::error_code ignored;
            std::filesystem::remove(path_, ignored);
            throw std::system_error(error, "chdir " + pattern);
        }
    }
    ~TemporaryWorkingDirectory() {
        std::error_code ignored;
        std::filesystem::current_path(previous_, ignored);
        std::filesystem::remove_all(path_, ignored);
    }
    TemporaryWorkingDirectory(const TemporaryWorkingDirectory&) = delete;
    TemporaryWorkingDirectory& operator=(const TemporaryWorkingDirectory&) = delete;

    const std::filesystem::path& path() const { return path_; }

private:
    std::filesystem::path previous_;
    std::filesystem::path path_;
};

}  // namespace corvane
