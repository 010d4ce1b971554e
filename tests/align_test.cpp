#include "align/aligner.h"
#include "segmenter/cut_rule.h"
#include "tests/support.h"

namespace {

constexpr std::uint64_t s = ticks_per_second;

/// Key frames every `distance` ticks from 0 to `end`, each with another frame in the middle.
std::string keyFrames(std::uint64_t distance, std::uint64_t end, std::uint64_t first = 0) {
    std::string packets;
    for (end += first; first < end; first += distance) {
        packets += key(first % pts_modulus) + delta((first + distance / 2) % pts_modulus);
    }
    return packets;
}

/// What came of a stream.
struct Aligned {
    std::string output;     ///< of the aligner
    std::size_t held = 0;   ///< packets of it that came when the stream had ended
    std::string media{};    ///< the packets of it on other PIDs than those of tables and clock
    std::string segments{}; ///< what the segmenter makes of it, in words
    std::string lengths{};  ///< in milliseconds, "~" in front of segments that do not follow
    std::string missing{};
};

std::string word(const std::string& packet) {
    const bool is_key = packet.find("\0\0\1\x65"s) != std::string::npos;
    const std::map<std::uint32_t, const char*> names = {
        {0, "PAT"}, {0x40, "clock"}, {0x1000, "PMT"}, {0x101, "other"}, {null_pid, "null"}};
    const auto name = names.find(packetPID(headerOf(packet)));
    return name != names.end() ? name->second : is_key ? "key" : "frame";
}

/// Aligns the stream that `packets` make to 4 s, in pieces of `piece` bytes, and cuts it as the
/// segmenter does.
Aligned align(const std::string& packets, std::size_t piece = 1000) {
    Aligned result;
    const auto report = [&](const AlignedSegment& segment) {
        result.lengths += (result.lengths.empty() ? "" : " ") + (segment.follows ? ""s : "~"s) +
                          std::to_string((segment.length + 45) / 90);
    };
    Aligner aligner(4, report, [](const std::string&) {});
    const auto collect = [&] {
        result.output.append(aligner.output().data(), aligner.output().size());
        result.held = aligner.output().size() / packet_size;
        aligner.clearOutput();
    };
    for (std::size_t at = 0; at < packets.size(); at += piece) {
        aligner.take(std::string_view(packets).substr(at, piece));
        collect();
    }
    aligner.end();
    collect();
    result.missing = aligner.missing();

    Options settings = {.duration = 4, .mux_type = 1};
    CutRule rule(settings);
    for (std::string& packet : split(result.output)) {
        const std::string name = word(packet);
        result.segments += (rule.beginsSegment(packet.data()) ? " | " : " ") + name;
        result.media += name == "PAT" || name == "PMT" || name == "clock" ? "" : packet;
    }
    result.segments.erase(0, 3);
    return result;
}

const std::string tables = pat() + pmtOf({0x1B, 0x0F});

/// The packet `table` with other bytes in its section, from `at` on, and the checksum that fits.
std::string edited(std::string table, std::size_t at, const std::string& bytes) {
    constexpr std::size_t begin = 5; // of the section in the packet
    const std::size_t size = 3 + static_cast<std::size_t>(table[begin + 2]) - crc_size;
    table.replace(begin + at, bytes.size(), bytes);
    return table.replace(begin, size + crc_size, section(table.substr(begin, size)));
}

/// A map in three packets, the last of which another section might begin in. Of the program's
/// descriptors, only the second names a PID, of access messages.
const std::string long_section =
    "\0"s + section("\2\xB1\x7A\0\1\xC1\0\0\xE1\0\xF1\x68\x0A\4\0\0\xE0\x40\x09\4\0\0\xE0\x40"s +
                    times(2, "\x80\xAC" + std::string(172, '~')) + "\x1B\xE1\0\xF0\0"s);
const std::string long_map =
    packet({.pid = 0x1000, .payload = long_section.substr(0, 184)}) + other() +
    packet({.pid = 0x1000, .unit_start = false, .payload = long_section.substr(184, 184)}) +
    packet({.pid = 0x1000, .payload = "\x0E" + long_section.substr(368)});

} // namespace

TEST(Aligner, BeginsEachSegmentWithTablesAndAKeyFrame) {
    const std::string begin = "PAT PMT clock clock ";
    const std::string cut = " clock | PAT PMT clock ";
    const std::string late_cut = " clock" + cut; // behind a time in the upper half of the clock
    // clang-format off
    const std::tuple<std::string, std::string, std::string> rows[] = {
        {"what comes before the first key frame is left out, and tables in between",
         tables + other() + delta(0) + key(s) + tables + other() + delta(2 * s) + key(5 * s),
         begin + "key other frame" + cut + "key"},
        {"the highest time, and other tables behind it",
         tables + key(pts_modulus - 1) + pmtOf({0x1B}) + other() + key(4 * s) + key(8 * s),
         begin + "key PAT PMT other" + late_cut + "key" + cut + "key"},
        {"the lowest time in the upper half of the clock",
         tables + key(1ULL << 32U) + key((1ULL << 32U) + 4 * s), begin + "key" + late_cut + "key"},
        {"a key frame whose slice comes in its second packet, behind other packets",
         tables + key(0) + frame(4 * s, "\x09") + other() +
         packet({.pid = 0x100, .unit_start = false, .payload = "\0\0\1\x65"s}),
         begin + "key" + cut + "frame other key"},
        {"another map while it is not known whether a frame begins a segment",
         tables + key(0) + video(4 * s) + pmtOf({0x1B}) + other() + delta(4 * s) + other(),
         begin + "key frame other frame PAT PMT other"},
        {"a key frame whose units come in a PES packet each",
         tables + key(0) + frame(4 * s, "\x67~") + other() + key(4 * s),
         begin + "key" + cut + "frame other key"},
        {"a source of another codec that begins between key frames",
         tables + key(0) + pmtOf({0x24}) + frame(s, "\x02") + other() + frame(2 * s, "\x26"),
         begin + "key" + cut + "frame"},
        {"a codec that is not known, with a mark at its key frame", pat() + pmtOf({0x10}) +
         packet({.pid = 0x100, .adaptation = "\1\x40", .payload = pesHeader(s)}), begin + "frame"},
        {"a map of three packets", pat() + long_map + key(0), "PAT PMT PMT PMT clock clock key"},
        {"a map that is not yet in force",
         tables + key(0) + edited(pmtOf({0x1B}), 5, "\xC0") + other() + key(4 * s),
         begin + "key other" + cut + "key"},
        {"a PAT of two sections, the first of which comes again",
         edited(pat({{1, 0x1001}}), 7, "\1") + edited(pat({{2, 0x1000}}), 6, "\1\1") +
         pmtOf({0x0F}, 0x1001, 0x102, 1) + pmtOf({0x1B}, 0x1000, 0x100, 2) + key(0) +
         edited(pat({{1, 0x1001}}), 7, "\1") + delta(s), begin + "key frame"},
        {"a map on the clock's PID, which moves", pat({{1, 0x40}}) + pmtOf({0x1B}, 0x40) + key(0),
         "PAT frame clock clock key"},
        {"packets on the clock's PID that no table names", tables + key(0) + key(s, 0x40) + other(),
         begin + "key other"},
        {"packets that only another program names, and the first one with video is the second",
         pat({{1, 0x1000}, {2, 0x1000}}) + edited(pmtOf({0x0F}, 0x1000, 0x101), 8, "\xFF\xFF") +
         pmtOf({0x1B}, 0x1000, 0x100, 2) + other() + key(0) + other() + packet({.pid = null_pid}),
         begin + "key null"},
        {"a program whose map came three times, and that of the one before it never",
         pat({{2, 9}, {1, 0x1000}}) + times(3, pmtOf({0x1B})) + key(0), begin + "key"},
    };
    // clang-format on
    for (const auto& [name, stream, segments] : rows) {
        EXPECT_EQ(align(stream).segments, segments) << name;
        EXPECT_EQ(align(stream, 1).segments, segments) << name << ", byte by byte";
    }
    constexpr std::uint64_t time = 0x123456789;
    const std::vector<std::string> packets = split(align(tables + key(time)).output);
    EXPECT_EQ(packets.at(0).substr(4), pat().substr(4));
    EXPECT_EQ(packets.at(3), packet({.pid = 0x40, .adaptation = "\xB7\2\xE"s + pesHeader(time)}));
}

TEST(Aligner, ChoosesTheKeyFrameNearestToTheDuration) {
    // clang-format off
    const std::tuple<std::string, std::string, std::string> rows[] = {
        {"a wrap of the clock", keyFrames(2 * s, 9 * s, pts_modulus - 3 * s), "~4000 4000 2000"},
        {"every 1.92 s: none is nearer to 4 s", keyFrames(172800, 9 * s), "~3840 3840 1920"},
        {"every 0.5 s: at 3.5 s it waits for the next", keyFrames(s / 2, 9 * s), "~4000 4000 1000"},
        {"every 3.4 s: more than half a second early", keyFrames(306000, 13 * s), "~6800 6800"},
        {"a restart: to the end of the last frame",
         keyFrames(2 * s, s, 99 * s) + keyFrames(2 * s, 6 * s), "~2000 ~4000 2000"},
        {"a jump to another frame: a segment of two parts",
         key(0) + delta(s) + delta(11 * s + 1) + delta(12 * s) + key(13 * s) + delta(14 * s),
         "~4000 ~2000"},
        {"reordered frames: to the end of that shown last",
         frame(s, "\x65", 0) + frame(5 * s, "\x41", s) + frame(3 * s, "\x41", 2 * s), "~5000"},
        {"another codec: what comes before its first key frame does not count",
         keyFrames(2 * s, 3 * s) + pmtOf({0x24}) + frame(50 * s, "\x02") + frame(53 * s, "\x26"),
         "~4000 ~1000"},
        {"other tracks with the same video", keyFrames(4 * s, 8 * s) + pmtOf({0x1B, 3}) +
         keyFrames(4 * s, 5 * s, 8 * s), "~4000 4000 ~4000 4000"},
        {"another program beside it", keyFrames(4 * s, 5 * s) + pat({{1, 0x1000}, {2, 0x1001}}) +
         keyFrames(4 * s, 5 * s, 8 * s), "~4000 4000 4000 4000"},
        {"no key frame for 40 s: then any frame", frames(0, 200), "~40000 4000 4000 2000"},
        {"8 MB without a frame: what comes until a key frame is left out",
         key(0) + other(42600) + delta(s) + key(2 * s), "~40 ~1000"},
        {"less between frames", key(0) + times(2, other(42500) + delta(s)) + key(2 * s), "~3000"},
        {"none at all: from the frame behind 40 s on", frames(0, 200).substr(packet_size),
         "~4000 4000 1750"},
    };
    // clang-format on
    for (const auto& [name, stream, expected] : rows) {
        EXPECT_EQ(align(tables + stream).lengths, expected) << name;
    }
}

TEST(Aligner, PassesOnEveryPacketAsItCame) {
    const std::string packets = keyFrames(s, 20 * s) + other(3) + packet({.pid = 0x11});
    const std::string stream = tables + packets;
    const Aligned aligned = align(stream);
    EXPECT_EQ(Stream{aligned.media}, Stream{packets});
    EXPECT_EQ(Stream{align(stream + other(42600), 9'000'000).media},
              Stream({packets, other(42600)}));
    const std::pair<std::string, std::string> rows[] = {
        {"packets of 192 bytes", spaced(stream, "TIME", "")},
        {"packets of 204 bytes", spaced(stream, "", std::string(16, 'C'))},
        {"a beginning within a packet, and other bytes in between",
         other().substr(100) + stream.substr(0, 1880) + "other" + stream.substr(1880)},
        {"an end within a packet", stream + other().substr(0, 100)},
    };
    for (const auto& [name, damaged] : rows) {
        EXPECT_EQ(Stream{align(damaged).output}, Stream{aligned.output}) << name;
        EXPECT_EQ(Stream{align(damaged, 1).output}, Stream{aligned.output}) << name;
    }
}

TEST(Aligner, GivesItsTablesCountersAndVersionsThatGoOn) {
    const std::string maps = pmtOf({0x1B}) + pmtOf({0x1B, 0x0F});
    const std::string stream = tables + key(0) + pmtOf({0x1B}) + key(4 * s) + times(20, maps);
    std::string numbers;
    for (const std::string& packet : split(align(stream).output)) {
        if (const std::string name = word(packet); name == "PAT" || name == "PMT") {
            numbers += ' ' + name + std::to_string(packet[3] & 0x0F) + '.' +
                       std::to_string(packet[10] >> 1 & 0x1F);
        }
    }
    EXPECT_EQ(numbers.find(" PAT0.0 PMT0.0 PAT1.0 PMT1.1 PAT2.0 PMT2.1 PAT3.0 PMT3.2"), 0U);
    EXPECT_TRUE(numbers.ends_with(" PAT9.0 PMT9.8")) << numbers;
}

TEST(Aligner, HoldsNothingBackButAFrameThatMayBeginASegment) {
    EXPECT_EQ(align(tables + keyFrames(s, 21 * s) + video(21 * s) + other()).held, 0U);
    EXPECT_EQ(align(spaced(tables + keyFrames(s, 21 * s), "", "CCCC"), 1).held, 0U);
    EXPECT_EQ(align(tables + key(0) + video(4 * s) + other(255)).held, 256U);
    EXPECT_EQ(align(tables + key(0) + video(4 * s) + other(256)).held, 0U) << "more are too many";
}

TEST(Aligner, MovesWhatUsesTheClocksPID) {
    const auto packets = [](std::uint32_t pid) {
        return key(0, pid) + delta(s, pid) + key(4 * s, pid);
    };
    const Aligned aligned =
        align(pat() + pmtOf({0x1B}, 0x1000, 0x40) + packet({.pid = 0x1FFE}) + packets(0x40));
    EXPECT_EQ(Stream{aligned.media}, Stream{packets(0x1FFD)});
    EXPECT_NE(aligned.output.find(edited(pmtOf({0x1B}, 0x1000, 0x1FFD), 5, "\xC3").substr(4)),
              std::string::npos);
    const std::string output = align(pat() + long_map + key(0)).output;
    EXPECT_NE(output.find("\xE0\x40\x09\4\0\0\xFF\xFE"s), std::string::npos);
    EXPECT_EQ(align(output).missing, "") << "the long map is read again";
}

TEST(Aligner, SaysWhatIsMissing) {
    const std::string scrambled = times(5, key(0).replace(3, 1, "\x80"));
    const std::pair<std::string, std::string> rows[] = {
        {"No transport stream came.", times(5, "G" + std::string(999, 'x'))},
        {"No program association table (PAT) came.", times(9, key(0))},
        {"The program association table (PAT) names no program.", pat({{0, 0x1000}}) + other()},
        {"No program map table (PMT) came.", (pat() + long_map).replace(238, 1, "!") + key(0)},
        {"", tables + key(0).replace(11, 1, "\xBF")}, // a PES header with all flags but that of DTS
        {"The stream is scrambled.", tables + scrambled},
        {"No frame with a timestamp came.", tables + scrambled + pmtOf({0x24})},
        {"No frame with a timestamp came.",
         tables + packet({.pid = 0x100, .payload = "\0\0\1\xE0\0\0\x80\0\5"s}) + other(5)},
    };
    for (const auto& [missing, stream] : rows) {
        EXPECT_EQ(align(stream).missing, missing);
    }
}

TEST(Aligner, KnowsKeyFramesByTheirBytes) {
    const std::string none = "No key frame came.";
    // clang-format off
    const std::tuple<const char*, std::vector<unsigned char>, std::string, std::string> rows[] = {
        {"H.264: an I slice behind parameters", {0x1B}, "\x67~\0\0\1\x41\xB0"s, ""},
        {"H.264: one in a picture of I slices only", {0x1B}, "\x67~\0\0\1\x41\x88"s, ""},
        {"H.264: one that is not the first", {0x1B}, "\x67~\0\0\1\x41\1\0\xC0"s, ""},
        {"H.264: an I slice alone", {0x1B}, "\x41\xB0", none},
        {"H.264: a P slice behind parameters", {0x1B}, "\x67~\0\0\1\x41\xF0"s, none},
        {"HEVC: the first kind of IRAP", {0x24}, "\x40\1\0\0\1\x20"s, ""},
        {"HEVC: the last kind of IRAP", {0x24}, "\x2E", ""},
        {"MPEG: an I picture behind a header", {1, 2}, "\xB3~\0\0\1\0\0\x08"s, ""},
        {"MPEG: an I picture alone", {1, 2}, "\0\0\x08"s, none},
        {"MPEG: a P picture behind a header", {1, 2}, "\xB3~\0\0\1\0\0\x10"s, none},
        {"other video without a mark", {0x10, 0x21, 0x33, 0x42, 0xD1, 0xD2, 0xD4, 0xEA}, "", none},
        {"sound", {3, 4, 0x0F, 0x11, 0x1C, 0x80, 0x81, 0x82, 0x83, 0x84, 0x85, 0x86, 0x87, 0x8A},
         "", ""},
    };
    // clang-format on
    for (const auto& [name, types, bytes, missing] : rows) {
        for (const unsigned char type : types) {
            EXPECT_EQ(align(pat() + pmtOf({type}) + frame(s, bytes)).missing, missing) << name;
        }
        const std::string whole = pesHeader(s) + "\0\0\1"s + bytes;
        for (std::size_t cut = 1; cut < whole.size(); ++cut) {
            const std::string stuffing = bytesOf({183 - cut, 0}) + std::string(182 - cut, '\xFF');
            const std::string packets =
                packet({.pid = 0x100, .counter = 0, .adaptation = stuffing, .payload = whole}) +
                packet({.pid = 0x100, .unit_start = false, .payload = whole.substr(cut)});
            EXPECT_EQ(align(pat() + pmtOf({types[0]}) + packets).missing, missing) << name << cut;
        }
    }
}

TEST(Aligner, KnowsPrivateDataByTheirDescriptors) {
    // clang-format off
    const std::pair<std::string, std::vector<std::string>> rows[] = {
        {"", {"\x6A\0"s, "\x7A\0"s, "\x7B\0"s, "\x7C\0"s, "\5\4Opus", "\5\4AC-3", "\5\4EAC3",
              "\5\4DTS1", "\5\4DTS2", "\5\4DTS3", "\5\4BSSD", "\x52\1~\5\4AC-4", "\5\5AC-3~"}},
        {"No key frame came.", {"\5\4HEVC", "\5\4AV01", "\5\4VC-1", "\5\4drac"}},
        {"No program has video or sound.", {"", "\x59\0"s, "\5\4KLVA", "\5\3AC3"}},
        {"No program map table (PMT) came.", {"\5\5AC-3", "\x6A\0~"s}},
    };
    // clang-format on
    for (const auto& [missing, descriptors] : rows) {
        for (const std::string& descriptor : descriptors) {
            const std::string map = pmtOf({6}, 0x1000, 0x100, 1, descriptor);
            EXPECT_EQ(align(pat() + map + frame(s, "\x02")).missing, missing) << descriptor;
        }
    }
}

using AlignerRun = ProgramTest;

TEST_F(AlignerRun, EndsWithItsInputOrOnASignalAndLosesNothing) {
    const std::string stream = tables + keyFrames(4 * s, 9 * s);
    const std::string rest = key(12 * s) + video(16 * s);
    const Program signalled(SEGMENTER_ALIGN " --duration=4");
    signalled.write({stream.substr(0, 1)});
    std::this_thread::sleep_for(20ms); // until that is read
    signalled.write({stream.substr(1)});
    ASSERT_TRUE(eventually([&] { return !signalled.output().empty(); }));
    ::kill(signalled.process(), SIGSTOP);
    signalled.write({rest});
    ::kill(signalled.process(), SIGTERM);
    ::kill(signalled.process(), SIGCONT);
    expectOutcome(signalled.end(), {.output = align(stream + rest).output});
    expectEnd(Program(SEGMENTER_ALIGN " </dev/null"), 0, "No transport stream came.\n");
    for (const auto& [command, status, message] :
         {std::tuple(SEGMENTER_ALIGN " >&-", 0, ""),
          {"sh -c 'ulimit -f 8; exec " SEGMENTER_ALIGN " >full'", 1,
           "The output cannot be written: File too large.\n"}}) {
        const Program program(command);
        program.write({times(9, stream)});
        expectEnd(program, status, message);
    }
}

TEST_F(AlignerRun, SleepsWhileItsOutputIsFull) {
    const std::string stream = tables + keyFrames(s, 400 * s);
    const Program program(
        "sh -c '{ dd oflag=nonblock count=0 status=none; ulimit -t 1; " SEGMENTER_ALIGN
        " --duration=4; } | { sleep 2; cat; }'");
    program.write({stream});
    expectOutcome(program.end(), {.output = align(stream).output});
}

TEST_F(AlignerRun, EndsAtOnceWhenNobodyReadsItsOutput) {
    const Program run("sh -c '" SEGMENTER_ALIGN " --duration=4; echo $? >../ended' | true");
    EXPECT_TRUE(eventually([] { return readFile("../ended") == "0\n"; })) << "its input goes on";
    EXPECT_EQ(run.end().status, 0);
}
