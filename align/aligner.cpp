#include "align/aligner.h"

#include "align/clock_packet.h"

#include <algorithm>
#include <cstring>
#include <utility>

namespace {

constexpr std::int64_t second = ticks_per_second;
constexpr std::int64_t most_early =
    second / 2; // so that a length, rounded, is the duration or more

/// True if a frame may begin in that packet.
bool beginsFrame(const TS& header) { return header.packet.payload_unit_start_indicator != 0; }

/// `ticks` as whole seconds.
std::string seconds(std::int64_t ticks) {
    return std::to_string((ticks + second / 2) / second) + " s";
}

} // namespace

Aligner::Aligner(std::int32_t duration, SegmentSink on_segment, MessageSink on_message)
    : duration(duration), on_segment(std::move(on_segment)), on_message(std::move(on_message)) {
    plan();
}

void Aligner::take(std::span<const char> bytes) {
    constexpr std::size_t enough = 8'000'000; // no frame is as large, so no more of them come
    finder.take(bytes, [this](const char* packet) { takePacket(packet); });
    if (!is_waiting && since_frame > enough) {
        startOver(); // or sound alone would fill the medium with one segment
    }
}

void Aligner::end() {
    finder.end([this](const char* packet) { takePacket(packet); });
    settle();
    if (is_started) {
        reportSegment(timer.length());
    }
}

std::span<const char> Aligner::output() const {
    return {packets.data(), is_holding ? held_from : packets.size()};
}

void Aligner::clearOutput() {
    since_frame += output().size();
    packets.removeFirst(output().size());
    held_from = 0;
}

std::string Aligner::missing() const {
    if (!is_waiting) {
        return "";
    }
    if (finder.packets == 0) {
        return "No transport stream came.";
    }
    if (programs.chosen() == nullptr || main.codec == Codec::none) {
        return programs.missing();
    }
    return is_scrambled ? "The stream is scrambled."
           : has_frames ? "No key frame came."
                        : "No frame with a timestamp came.";
}

void Aligner::takePacket(const char* packet) {
    constexpr std::size_t most_held = std::size_t{256} * packet_size;
    TS header;
    std::memcpy(&header, packet, sizeof header);
    const std::uint32_t pid = packetPID(header);
    const Route route = routes[pid];
    const bool is_plain = route == Route::pass || (route == Route::main && !beginsFrame(header));
    if (is_plain && !is_waiting && !is_pending) { // most packets
        append(packet, pid);
        return;
    }
    switch (route) {
    case Route::pass:
        write(packet, pid);
        break;
    case Route::main:
        takeMain(header, packet);
        break;
    case Route::table:
        takeTable(header, packet);
        break;
    case Route::unknown:
        noteUsed(pid);
        write(packet, pid);
        break;
    case Route::drop:
        break;
    }
    if (is_holding && packets.size() - held_from > most_held) {
        settle();
    }
}

/// Notes that packets come on a PID that no table names.
void Aligner::noteUsed(std::uint32_t pid) {
    used[pid] = true;
    routes[pid] = Route::pass;
    if (pid == moved_pid) { // it is not free any more
        plan();
        setTables();
    }
}

void Aligner::takeTable(const TS& header, const char* packet) {
    if (!programs.take(header, packet)) {
        return;
    }
    const StreamProgram* chosen = programs.chosen();
    const ElementaryStream* stream = chosen == nullptr ? nullptr : chosen->mainStream();
    const ElementaryStream new_main = stream == nullptr ? ElementaryStream{} : *stream;
    if (new_main != main) {
        main = new_main;
        startOver();
    }
    if (chosen != nullptr) {
        is_discontinuity |= chosen->entry != program || chosen->map.streams != streams;
        program = chosen->entry;
        streams = chosen->map.streams;
    }
    plan();
    setTables();
}

/// Waits for a key frame, of another main stream or after a long time without frames.
void Aligner::startOver() {
    settle();
    if (!is_waiting) {
        segment.length = timer.length(); // what comes until then is left out
    }
    frame = FrameReader(main.codec);
    timer.breakOff();
    is_waiting = true;
    is_scrambled = false;
    has_frames = false;
}

void Aligner::takeMain(const TS& header, const char* packet) {
    if (header.packet.scrambling_control != 0) {
        is_scrambled = true;
    } else if (beginsFrame(header)) {
        if (!is_pending || !is_timed) { // else the frame goes on: its slices are still to come
            settle();                   // the frame before
            held_from = packets.size();
            is_pending = is_holding = true;
        }
        is_timed = false;
        frame.begin(header, packet);
    } else if (is_pending) {
        frame.add(header, packet);
    }
    write(packet, main.pid);
    if (is_pending) {
        look();
    }
}

/// Notes what is known of the pending frame by now.
void Aligner::look() {
    if (!is_timed && frame.hasTimes()) {
        timer.take(frame.pts(), frame.dts());
        is_timed = has_frames = true;
        since_frame = 0;
        is_holding = is_holding && isDue();
    }
    if (!frame.isUndecided()) {
        settle();
    }
}

/// Begins a segment with the pending frame, or not: by what is known of it now.
void Aligner::settle() {
    if (!std::exchange(is_pending, false)) {
        return;
    }
    frame.giveUp();
    const bool is_key_frame = is_timed && frame.isKeyFrame();
    if (is_holding && is_timed && beginsSegment(is_key_frame)) {
        beginSegment();
    } else if (is_waiting) {
        packets.truncate(held_from);
    }
    is_holding = false;
    if (is_key_frame) {
        timer.noteKeyFrame();
    }
    if (are_tables_due) {
        writeTables();
    }
}

/// Whether the frame that was timed last may begin a segment, if it is a key frame.
bool Aligner::isDue() const {
    return is_waiting || is_discontinuity || timer.hasJump() ||
           timer.elapsed() >= duration * second - most_early;
}

/// Whether that frame begins a segment, where one is due.
bool Aligner::beginsSegment(bool is_key_frame) {
    const std::int64_t wanted = duration * second;
    const std::int64_t elapsed = timer.elapsed();
    const std::int64_t since_key_frame = timer.sinceKeyFrame();
    if (is_key_frame) {
        const bool is_break = is_waiting || is_discontinuity || timer.hasJump();
        // The next key frame will come after the same time as this one: is it nearer?
        const std::int64_t early = std::min(most_early, since_key_frame / 2);
        if (!is_break && elapsed >= wanted + second / 2) {
            tellOnce(told_late, "Segments get longer than " + seconds(wanted) +
                                    ", since no key frame comes nearer: the first has " +
                                    seconds(elapsed) + '.');
        }
        return is_break || elapsed >= wanted - early;
    }
    if (since_key_frame < longestWait(duration) || (!is_waiting && elapsed < wanted)) {
        return false;
    }
    tellOnce(told_forced, "No key frame came for " + seconds(since_key_frame) +
                              ": segments begin with any frame, and players may show nothing "
                              "until one comes.");
    return true;
}

void Aligner::tellOnce(bool& is_told, const std::string& sentence) {
    if (!std::exchange(is_told, true)) {
        on_message(sentence);
    }
}

/// Writes in front of the held frame what makes the segmenter begin a segment there.
void Aligner::beginSegment() {
    constexpr std::uint64_t highest_time = pts_modulus - 1;
    const std::size_t end = packets.size();
    if (is_started) {
        reportSegment(timer.elapsed());
        if (segment.begin >= pts_modulus / 2) { // the cut time may lie beyond all others: it falls
            appendClockPacket(packets, 0);
        }
        appendClockPacket(packets, highest_time);
        writeTables();
    } else {
        writeTables(); // first, or the clock packet would be a segment
        appendClockPacket(packets, highest_time);
    }
    appendClockPacket(packets, std::min(frame.pts(), highest_time - 1)); // the cut time must fall
    packets.moveToFront(end, held_from);
    segment = {.begin = frame.pts(),
               .follows = is_started && !is_discontinuity && !timer.hasJump()};
    timer.beginSegment();
    is_started = true;
    is_waiting = false;
    is_discontinuity = false;
}

void Aligner::reportSegment(std::int64_t length) {
    if (!is_waiting) {
        segment.length = std::max<std::int64_t>(length, 0);
    }
    on_segment(segment);
}

/// Decides what becomes of each PID.
void Aligner::plan() {
    const std::bitset<pid_count> others = programs.namedPIDs(false);
    const std::bitset<pid_count> own = programs.namedPIDs(true);
    for (std::uint32_t pid = 0; pid < pid_count; ++pid) {
        routes[pid] = programs.isTable(pid) ? Route::table
                      : own[pid]            ? Route::pass
                      : others[pid]         ? Route::drop
                      : used[pid]           ? Route::pass
                                            : Route::unknown;
    }
    if (routes[main.pid] == Route::pass) {
        routes[main.pid] = Route::main;
    }
    if (!own[clock_pid] && !programs.isTable(clock_pid)) {
        routes[clock_pid] = Route::drop; // it would be taken for a clock
    }
    if (routes[moved_pid] != Route::unknown) {
        moved_pid = null_pid;
        while (--moved_pid > 0 && routes[moved_pid] != Route::unknown) {
        }
    }
}

/// Makes the tables of the output.
void Aligner::setTables() {
    const StreamProgram* chosen = programs.chosen();
    if (chosen == nullptr) {
        return;
    }
    const auto moved = [this](std::uint32_t pid) { return pid == clock_pid ? moved_pid : pid; };
    std::vector<unsigned char> section = chosen->section;
    for (const std::size_t at : chosen->map.pid_fields) {
        setPIDField(section, at, moved(pidField(section, at)));
    }
    const std::uint32_t map_pid = moved(program.map_pid);
    const bool is_new = association.set(
        pat_pid, associationSection(programs.transportStreamID(), program.number, map_pid));
    are_tables_due |= (map.set(map_pid, std::move(section)) || is_new) && !is_waiting;
    if (are_tables_due && !is_holding) {
        writeTables();
    }
}

void Aligner::write(const char* packet, std::uint32_t pid) {
    if (!is_waiting || is_holding) {
        append(packet, pid);
    }
}

void Aligner::append(const char* packet, std::uint32_t pid) {
    char* copy = packets.add();
    std::memcpy(copy, packet, packet_size);
    if (pid == clock_pid) {
        copy[1] =
            static_cast<char>((static_cast<unsigned char>(copy[1]) & 0xE0U) | moved_pid >> 8U);
        copy[2] = static_cast<char>(moved_pid & 0xFFU);
    }
}

void Aligner::writeTables() {
    association.appendTo(packets);
    map.appendTo(packets);
    are_tables_due = false;
}
