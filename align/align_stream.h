#pragma once

#include "align/aligner.h"
#include "process/input.h"

#include <cstdint>
#include <functional>

/// What ended a stream.
enum class StreamEnd {
    input,     ///< its end
    silence,   ///< that came for too long
    no_reader, ///< the end of who reads the output
    failure,   ///< a write that failed, as on a full disk
};

/// Passes `input` through `aligner` to the descriptor `output`, until one of them ends, or nothing
/// came for `timeout` seconds (0: never). Nothing is read as long as `isHeld` says so and no signal
/// ended the input. `warn` is told of silence, of a failure, and why nothing is passed on, where
/// that lasts ten seconds or until the end.
StreamEnd alignStream(Input& input, Aligner& aligner, int output, const Aligner::MessageSink& warn,
                      std::int32_t timeout, const std::function<bool()>& isHeld);
