#pragma once

#include "playlist/live_playlist.h"
#include "tests/packets.h"

#include <gtest/gtest.h>
#include <sys/wait.h>

#include <chrono>
#include <csignal>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <functional>
#include <initializer_list>
#include <iterator>
#include <map>
#include <numeric>
#include <optional>
#include <sstream>
#include <string>
#include <thread>
#include <tuple>

using namespace std::literals;
namespace fs = std::filesystem;

/// A temporary folder with an empty working directory in it, current for as long as this lives.
class Folder {
public:
    Folder() {
        std::ignore = ::mkdtemp(path.data()); // without it, the next line throws
        fs::create_directory(path + "/work");
        fs::current_path(path + "/work");
    }
    Folder(const Folder&) = delete;
    Folder& operator=(const Folder&) = delete;
    ~Folder() {
        fs::current_path(before);
        fs::remove_all(path);
    }

private:
    fs::path before = fs::current_path();
    std::string path = fs::temp_directory_path() / "segmenter_tests.XXXXXX";
};

/// The whole of a file, empty where it cannot be read.
inline std::string readFile(const fs::path& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

/// What `file` in tests/ says under the heading `name`.
inline std::string expectedText(const std::string& file, const std::string& name) {
    const std::string texts = readFile(ROOT "tests/" + file);
    const std::string heading = "== " + name + '\n';
    const std::size_t begin = texts.find(heading) + heading.size();
    return texts.substr(begin, texts.find("== ", begin) - begin);
}

inline std::optional<LivePlaylist> livePlaylist(const fs::path& folder = "www") {
    return readPlaylist(readFile(folder / "live.m3u8"));
}

/// The live playlist in `folder` in short: "3/1 4 s: 1.000 2.000 | 1.000 end" has the media
/// sequence 3, the discontinuity sequence 1 and the target duration 4, a discontinuity before its
/// last segment, and has ended. Other segments begin when the one before ends.
inline std::string listed(const fs::path& folder = "www") {
    const LivePlaylist stream = livePlaylist(folder).value_or(LivePlaylist());
    std::ostringstream out;
    out << stream.sequence << '/' << stream.discontinuities << ' ' << stream.target_duration
        << " s:";
    for (std::optional<std::int64_t> end; const LiveSegment& segment : stream.segments) {
        EXPECT_TRUE(segment.is_discontinuity || segment.date == end.value_or(segment.date));
        end = segment.date + segment.length;
        out << (segment.is_discontinuity ? " | " : " ") << secondsText(segment.length);
    }
    return out.str() + (stream.is_ended ? " end" : "");
}

/// Packets, or other bytes, that lie together: {table(), video(90000), other(3)}.
struct Stream {
    Stream(std::initializer_list<std::string> parts)
        : bytes(std::accumulate(parts.begin(), parts.end(), ""s)) {}
    bool operator==(const Stream&) const = default;

    friend std::ostream& operator<<(std::ostream& out, const Stream& stream) {
        const double packets = static_cast<double>(stream.bytes.size()) / packet_size;
        return stream.bytes.starts_with('G') ? out << packets << " packets" : out << stream.bytes;
    }

    std::string bytes;
};

inline constexpr const char* marker_path = "../vod"; ///< of SEGMENTER

/// Tests that start programs, each test in a folder of its own.
struct ProgramTest : testing::Test {
    ProgramTest() {
        for (const int signal : {SIGINT, SIGTERM, SIGHUP}) { // nohup, or & in a shell, ignores some
            std::ignore = std::signal(signal, SIG_DFL);
        }
        std::ignore = std::signal(SIGPIPE, [](int /*signal*/) {}); // programs may end before input
    }

    const Folder folder{};
};

/// True once `condition` holds; false if it does not within ten seconds.
inline bool eventually(const std::function<bool()>& condition) {
    for (int milliseconds = 0; milliseconds < 10000 && !condition(); ++milliseconds) {
        std::this_thread::sleep_for(1ms);
    }
    return condition();
}

/// What comes of a run.
struct Outcome {
    int status = 0;                        ///< after a signal, 128 and its number
    std::string output{};                  ///< all that the program wrote to standard output
    std::string errors{};                  ///< and to standard error
    std::string marker{};                  ///< the marker file of SEGMENTER; empty without one
    std::map<std::string, Stream> files{}; ///< in the working directory, by path
};

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
        const std::string shell = "exec >" + file("output") + " 2>" + file("errors") +
                                  "; echo $$ >" + file("process") +
                                  "; ulimit -t 20; ulimit -n 32; export LC_ALL=C; exec ";
        input = ::popen((shell + command).c_str(), "w");
    }

    void write(const Stream& packets) const {
        std::ignore = std::fwrite(packets.bytes.data(), 1, packets.bytes.size(), input);
        std::ignore = std::fflush(input);
    }

    /// What it has written to standard output so far.
    [[nodiscard]] std::string output() const { return readFile(file("output")); }

    [[nodiscard]] pid_t process() const {
        EXPECT_TRUE(eventually([this] { return readFile(file("process")).ends_with('\n'); }));
        return std::stoi(readFile(file("process")));
    }

    /// Ends its input, and collects what it has left when it has ended too.
    [[nodiscard]] Outcome end() const {
        const int status = ::pclose(input);
        Outcome outcome = {WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status),
                           output(), readFile(file("errors")), readFile(marker_path)};
        for (const auto& entry : fs::recursive_directory_iterator(".")) {
            if (entry.is_regular_file()) {
                const std::string path = entry.path().lexically_normal();
                outcome.files.insert({path, {readFile(path)}});
            }
        }
        return outcome;
    }

private:
    /// Beside the working directory, not to be among the files that the program leaves.
    [[nodiscard]] std::string file(const char* name) const {
        return "../" + std::to_string(number) + '.' + name;
    }

    static inline int started = 0; // NOLINT(cppcoreguidelines-avoid-non-const-global-variables)
    int number = ++started;
    std::FILE* input = nullptr;
};

/// Ends the input of `program`: it ends with this status, and with `message` among its errors.
inline void expectEnd(const Program& program, int status, const std::string& message) {
    const Outcome outcome = program.end();
    EXPECT_EQ(outcome.status, status) << message;
    EXPECT_NE(outcome.errors.find(message), std::string::npos) << message << '\n' << outcome.errors;
}
