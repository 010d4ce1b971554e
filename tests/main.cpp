#include "tests/program.h"

#include <vector>

/// Runs the tests, in a mount namespace where /var/run is an in-memory file system of its own, if
/// that is allowed: for this it begins anew through a shell that makes it so.
int main(int argc, char** argv) {
    std::ignore = std::signal(SIGPIPE, [](int /*signal*/) {}); // a program may end before its input
    if (std::filesystem::exists(private_sign)) {
        std::filesystem::current_path("/var/run");
    } else if (std::system("unshare -rm mount -t tmpfs tmpfs /var/run 2>/dev/null") == 0) {
        std::string words[] = {"unshare", "-rm", "sh", "-c",
                               "mount -t tmpfs tmpfs /var/run && >"s + private_sign +
                                   " && exec " EMULATOR " \"$0\" \"$@\""};
        std::vector<char*> arguments;
        for (std::string& word : words) {
            arguments.push_back(word.data());
        }
        arguments.insert(arguments.end(), argv, argv + argc + 1);
        ::execvp(arguments.front(), arguments.data());
    }
    testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
