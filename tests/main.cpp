#include "tests/program.h"

#include <unistd.h>

#include <tuple>
#include <vector>

/// Runs the tests, in a mount namespace where /var/run is an in-memory file system of its own, if
/// that is allowed: for this it begins anew through a shell that makes it so.
int main(int argc, char** argv) {
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) { // nohup, or & in a shell, ignores some
        std::ignore = std::signal(signal, SIG_DFL);
    }
    std::ignore = std::signal(SIGPIPE, [](int /*signal*/) {}); // a program may end before its input
    if (std::filesystem::exists(private_sign)) {
        std::filesystem::current_path("/var/run");
    } else if (std::system("unshare -rm mount -t tmpfs tmpfs /var/run 2>/dev/null") == 0) {
        const std::string script = "mount -t tmpfs tmpfs /var/run && >"s + private_sign +
                                   " && exec " EMULATOR " \"$0\" \"$@\"";
        std::vector<const char*> words = {"unshare", "-rm", "sh", "-c", script.c_str()};
        words.insert(words.end(), argv, argv + argc + 1);
        ::execvp(words.front(), const_cast<char**>(words.data()));
    }
    testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
