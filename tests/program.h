#pragma once

#include "tests/support.h"

#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <functional>
#include <map>
#include <thread>
#include <tuple>
#include <utility>

inline constexpr const char* marker_path = "/var/run/vod";
inline constexpr const char* output_path = "/var/run/output";
inline constexpr const char* errors_path = "/var/run/errors";
inline constexpr const char* private_sign = "/var/run/segmenter_tests"; ///< in ours only

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

    /// Changes to an empty directory, and removes the marker.
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
    for (int milliseconds = 0; milliseconds < 10000; ++milliseconds) {
        if (condition()) {
            return true;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return false;
}

/// A program that runs in the working directory, with a pipe to its standard input.
class Program {
public:
    /// Starts the shell command `command`, a program and its arguments.
    explicit Program(const std::string& command) {
        const std::string line =
            "exec >/var/run/output 2>/var/run/errors; export LC_ALL=C; exec " + command;
        int ends[2];
        std::ignore = ::pipe(ends);
        input = ends[1];
        const pid_t child = ::fork();
        if (child == 0) {
            ::dup2(ends[0], STDIN_FILENO);
            ::close(ends[0]);
            ::close(ends[1]);
            ::execl("/bin/sh", "sh", "-c", line.c_str(), nullptr);
            ::_exit(1);
        }
        process = child;
        ::close(ends[0]);
    }

    /// Writes to its standard input, as long as it is read.
    void write(const Stream& packets) {
        const std::string& bytes = packets.bytes;
        is_read = ::write(input, bytes.data(), bytes.size()) == static_cast<ssize_t>(bytes.size());
    }

    /// Waits until it has ended by itself, and kills it if it does not. Returns its exit status;
    /// after a signal, 128 and the signal's number.
    [[nodiscard]] int waitForEnd() const {
        int status = 0;
        if (!eventually([&] { return ::waitpid(process, &status, WNOHANG) != 0; })) {
            ::kill(process, SIGKILL);
            ::waitpid(process, &status, 0);
        }
        return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    }

    /// The same, after its input has ended.
    int end() {
        ::close(std::exchange(input, -1));
        return waitForEnd();
    }

    pid_t process = 0;
    bool is_read = true;

private:
    int input = -1;
};

/// What came of a run.
struct Outcome {
    int status = 0;
    std::string output{};                       ///< all that it wrote to standard output
    std::string errors = no_marker_found;       ///< and to standard error
    std::string marker{};                       ///< the marker file; empty without one
    std::map<std::string, Stream> segments{};   ///< the files *.ts in the working directory by path
    std::map<std::string, std::string> texts{}; ///< all other files there

    /// What rm says when there is no marker to remove.
    static constexpr auto no_marker_found =
        "rm: cannot remove '/var/run/vod': No such file or directory\n";
};

/// Collects what the program that ended with `status` has left.
inline Outcome collect(int status) {
    Outcome outcome = {.status = status,
                       .output = readFile(output_path),
                       .errors = readFile("/var/run/errors"),
                       .marker = readFile(marker_path)};
    for (const auto& entry : std::filesystem::recursive_directory_iterator(".")) {
        const std::string name = entry.path().lexically_normal();
        if (entry.is_regular_file() && name.ends_with(".ts")) {
            outcome.segments.insert({name, {readFile(name)}});
        } else if (entry.is_regular_file()) {
            outcome.texts[name] = readFile(name);
        }
    }
    return outcome;
}

/// Compares field by field.
inline void expectOutcome(const Outcome& outcome, const Outcome& expected) {
    EXPECT_EQ(outcome.status, expected.status);
    EXPECT_EQ(outcome.output, expected.output);
    EXPECT_EQ(outcome.errors, expected.errors);
    EXPECT_EQ(outcome.marker, expected.marker);
    EXPECT_EQ(outcome.segments, expected.segments);
    EXPECT_EQ(outcome.texts, expected.texts);
}
