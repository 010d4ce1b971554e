#pragma once

#include <cstddef>
#include <optional>
#include <span>

/// Standard input that ends on INT, TERM and HUP too, but not before what had come by then is read.
class Input {
public:
    /// From here on, signals end the input as endInputOnSignals() says. One object a process.
    Input();

    /// Reads what has come into `buffer`, which is not empty, and does not wait for more. Returns
    /// how many bytes that are: 0 at the end; nothing where none came, though poll() or a signal
    /// said so.
    std::optional<std::size_t> read(std::span<char> buffer);

private:
    int original;            // the same input, which signals leave open
    std::size_t drained = 0; // bytes read from it after the end
};
