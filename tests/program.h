#pragma once

#include "tests/support.h"

#include <sys/wait.h>

#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <map>
#include <thread>
#include <tuple>

inline constexpr const char* marker_path = "/var/run/vod";
inline constexpr const char* private_sign = "/var/run/segmenter_tests"; ///< in no other /var/run

/// Tests that run a program. They do so in a mount namespace with a /var/run of its own (main
/// enters it), and each run begins in an empty directory. Where there can be none they fail, or are
/// skipped if a person asks for that.
struct ProgramTest : testing::Test {
    void SetUp() override {
        if (std::filesystem::exists(private_sign)) {
            beginAnew();
        } else if (std::getenv("SEGMENTER_TESTS_WITHOUT_NAMESPACES") != nullptr) {
            GTEST_SKIP() << "skipped, as SEGMENTER_TESTS_WITHOUT_NAMESPACES says";
        } else {
            FAIL() << "there is no private /var/run, since unshare -rm does not work here; set "
                      "SEGMENTER_TESTS_WITHOUT_NAMESPACES=1 to go without the tests that need it";
        }
    }

    /// Changes to an empty directory, /var/run/work, and removes the marker.
    static void beginAnew() {
        std::filesystem::current_path("/var/run");
        std::filesystem::remove_all(marker_path);
        std::filesystem::remove_all("work");
        std::filesystem::create_directory("work");
        std::filesystem::current_path("work");
    }
};

/// True once `condition` holds; false if it does not within ten seconds.
inline bool eventually(const std::function<bool()>& condition) {
    for (int milliseconds = 0; milliseconds < 10000 && !condition(); ++milliseconds) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return condition();
}

/// What comes of a run.
struct Outcome {
    int status = 0;       ///< after a signal, 128 and its number
    std::string output{}; ///< all that the program wrote to standard output
    std::string errors = "rm: cannot remove '/var/run/vod': No such file or directory\n";
    std::string marker{};                  ///< the marker file; empty without one
    std::map<std::string, Stream> files{}; ///< those in the working directory, by their paths
};

/// Compares field by field.
inline void expectOutcome(const Outcome& outcome, const Outcome& expected) {
    EXPECT_EQ(outcome.status, expected.status);
    EXPECT_EQ(outcome.output, expected.output);
    EXPECT_EQ(outcome.errors, expected.errors);
    EXPECT_EQ(outcome.marker, expected.marker);
    EXPECT_EQ(outcome.files, expected.files);
}

/// A program that runs in the working directory, with a pipe to its standard input.
class Program {
public:
    /// Starts the shell command `command`, a program and its arguments. It may take 20 seconds of
    /// processor time, and open 32 files at once.
    explicit Program(const std::string& command) {
        const std::string shell = "exec >../output 2>../errors; echo $$ >../process; "
                                  "ulimit -t 20; ulimit -n 32; export LC_ALL=C; exec ";
        input = ::popen((shell + command).c_str(), "w");
    }

    void write(const Stream& packets) const {
        std::ignore = std::fwrite(packets.bytes.data(), 1, packets.bytes.size(), input);
        std::ignore = std::fflush(input);
    }

    /// What it has written to standard output so far.
    static std::string output() { return readFile("../output"); }

    /// Its process, once it runs.
    static pid_t process() { return std::stoi(readFile("../process")); }

    /// Ends its input, and collects what it has left when it has ended too.
    [[nodiscard]] Outcome end() const {
        const int status = ::pclose(input);
        Outcome outcome = {WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status),
                           output(), readFile("../errors"), readFile(marker_path)};
        for (const auto& entry : std::filesystem::recursive_directory_iterator(".")) {
            if (entry.is_regular_file()) {
                const std::string path = entry.path().lexically_normal();
                outcome.files.insert({path, {readFile(path)}});
            }
        }
        return outcome;
    }

private:
    std::FILE* input = nullptr;
};
