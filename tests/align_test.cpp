#include "align/aligner.h"
#include "segmenter/cut_rule.h"
#include "tests/program.h"

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
    std::string output;                     ///< of the aligner
    std::string segments;                   ///< what the segmenter makes of it, in words
    std::vector<AlignedSegment> reported{}; ///< by the aligner
    std::string messages;
    std::string missing;
};

std::string word(const std::string& packet) {
    const bool is_key = packet.find("\0\0\1\x65"s) != std::string::npos;
    const std::map<std::uint32_t, const char*> names = {
        {0, "PAT"}, {0x40, "clock"}, {0x1000, "PMT"}, {0x101, "other"}, {null_pid, "null"}};
    const auto name = names.find(packetPID(headerOf(packet)));
    return name != names.end() ? name->second : is_key ? "key" : "frame";
}

/// Aligns the stream that `packets` make, in pieces of `piece` bytes, and cuts it as the segmenter
/// does.
Aligned align(const std::string& packets, std::int32_t duration = 4, std::size_t piece = 1000) {
    Aligned result;
    Aligner aligner(
        duration, [&](const AlignedSegment& segment) { result.reported.push_back(segment); },
        [&](const std::string& message) { result.messages += message + '\n'; });
    const auto collect = [&] {
        result.output.append(aligner.output().data(), aligner.output().size());
        aligner.clearOutput();
    };
    for (std::size_t at = 0; at < packets.size(); at += piece) {
        aligner.take(std::string_view(packets).substr(at, piece));
        collect();
    }
    aligner.end();
    collect();
    result.missing = aligner.missing();

    Options settings = {.duration = duration, .mux_type = 1};
    CutRule rule(settings);
    for (std::string& packet : split(result.output)) {
        result.segments += rule.beginsSegment(packet.data()) ? " | " : " ";
        result.segments += word(packet);
    }
    result.segments.erase(0, 3);
    return result;
}

/// The lengths of the segments in milliseconds, "~" in front of those that do not follow.
std::string lengths(const Aligned& aligned) {
    std::string text;
    for (const AlignedSegment& segment : aligned.reported) {
        text += (text.empty() ? "" : " ") + (segment.follows ? ""s : "~"s) +
                std::to_string((segment.length + 45) / 90);
    }
    return text;
}

/// The packets of `stream` on other PIDs than those of tables and clock.
std::string media(const std::string& stream) {
    std::string packets;
    for (const std::string& packet : split(stream)) {
        const std::string name = word(packet);
        packets += name == "PAT" || name == "PMT" || name == "clock" ? "" : packet;
    }
    return packets;
}

const std::string tables = pat() + pmtOf({0x1B, 0x0F});

/// The packet `table` with other bytes in its section, from `at` on, and the checksum that fits.
std::string edited(std::string table, std::size_t at, const std::string& bytes) {
    constexpr std::size_t begin = 5; // of the section in the packet
    const std::size_t size = 3 + static_cast<std::size_t>(table[begin + 2]) - crc_size;
    table.replace(begin + at, bytes.size(), bytes);
    return table.replace(begin, size + crc_size, section(table.substr(begin, size)));
}

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
        {"the clock's upper half", tables + key((1ULL << 32U) + s) + key((1ULL << 32U) + 5 * s),
         begin + "key" + late_cut + "key"},
        {"the clock wraps", tables + key(pts_modulus - s) + key(3 * s) + key(7 * s),
         begin + "key" + late_cut + "key" + cut + "key"},
        {"the highest time", tables + key(pts_modulus - 1) + key(4 * s) + key(8 * s),
         begin + "key" + late_cut + "key" + cut + "key"},
        {"the highest time, and other tables behind it",
         tables + key(pts_modulus - 1) + pmtOf({0x1B}) + other(), begin + "key PAT PMT other"},
        {"a source that restarts", tables + key(100 * s) + key(104 * s) + key(0) + key(4 * s),
         begin + "key" + cut + "key" + cut + "key" + cut + "key"},
        {"another map within a segment", tables + key(0) + pmtOf({0x1B}) + other() + key(4 * s),
         begin + "key PAT PMT other" + cut + "key"},
        {"a key frame whose slice comes in its second packet, behind other packets",
         tables + key(0) + frame(4 * s, "\x09") + other() +
         packet({.pid = 0x100, .unit_start = false, .payload = "\0\0\1\x65"s}),
         begin + "key" + cut + "frame other key"},
        {"a key frame whose units come in a PES packet each",
         tables + key(0) + frame(4 * s, "\x67~") + other() + key(4 * s),
         begin + "key" + cut + "frame other key"},
        {"a source of another codec that begins between key frames",
         tables + key(0) + pmtOf({0x24}) + frame(s, "\x02") + other() + frame(2 * s, "\x26"),
         begin + "key" + cut + "frame"},
        {"a codec that is not known, with a mark at key frames", pat() + pmtOf({0x10}) + video(0) +
         packet({.pid = 0x100, .adaptation = "\1\x40", .payload = pesHeader(s)}),
         begin + "frame"},
        {"a map that is not yet in force",
         tables + key(0) + edited(pmtOf({0x1B}), 5, "\xC0") + other() + key(4 * s),
         begin + "key other" + cut + "key"},
        {"a PAT of two sections, the first of which comes again",
         edited(pat({{1, 0x1001}}), 7, "\1") + edited(pat({{2, 0x1000}}), 6, "\1\1") +
         pmtOf({0x0F}, 0x1001, 0x102, 1) + pmtOf({0x1B}, 0x1000, 0x100, 2) + key(0) +
         edited(pat({{1, 0x1001}}), 7, "\1") + delta(s), begin + "key frame"},
        {"packets on the clock's PID that no table names", tables + key(0) + key(s, 0x40) + other(),
         begin + "key other"},
        {"packets that only another program names, and the first one with video is the second",
         pat({{1, 0x1001}, {2, 0x1000}}) + pmtOf({0x0F}, 0x1001, 0x101, 1) +
         pmtOf({0x1B}, 0x1000, 0x100, 2) + other() + key(0) + other() + packet({.pid = null_pid}),
         begin + "key null"},
    };
    // clang-format on
    for (const auto& [name, stream, segments] : rows) {
        EXPECT_EQ(align(stream).segments, segments) << name;
        EXPECT_EQ(align(stream, 4, 1).segments, segments) << name << ", byte by byte";
    }
}

TEST(Aligner, ChoosesTheKeyFrameNearestToTheDuration) {
    // clang-format off
    const std::tuple<std::string, std::string, std::string> rows[] = {
        {"a key frame every 2 s", keyFrames(2 * s, 9 * s), "~4000 4000 2000"},
        {"every 1.92 s: none is nearer to 4 s", keyFrames(172800, 9 * s), "~3840 3840 1920"},
        {"every 0.5 s: at 3.5 s it waits for the next", keyFrames(s / 2, 9 * s), "~4000 4000 1000"},
        {"every 3.4 s: more than half a second early", keyFrames(306000, 13 * s), "~6800 6800"},
        {"every 10 s", keyFrames(10 * s, 21 * s), "~10000 10000 10000"},
        {"over the wrap", keyFrames(2 * s, 9 * s, pts_modulus - 3 * s), "~4000 4000 2000"},
        {"a restart: to the end of the last frame",
         keyFrames(2 * s, 3 * s, 99 * s) + keyFrames(2 * s, 6 * s), "~4000 ~4000 2000"},
        {"a jump to another frame: a segment of two parts",
         key(0) + delta(s) + delta(20 * s) + delta(21 * s) + key(22 * s) + delta(23 * s),
         "~4000 ~2000"},
        {"reordered frames: to the end of that shown last",
         frame(s, "\x65", 0) + frame(5 * s, "\x41", s) + frame(3 * s, "\x41", 2 * s),
         "~5000"},
        {"another codec: what comes before its first key frame does not count",
         keyFrames(2 * s, 3 * s) + pmtOf({0x24}) + frame(50 * s, "\x02") + frame(53 * s, "\x26"),
         "~4000 ~1000"},
        {"other tracks with the same video",
         keyFrames(4 * s, 8 * s) + pmtOf({0x1B, 3}) + keyFrames(4 * s, 5 * s, 8 * s),
         "~4000 4000 ~4000 4000"},
    };
    // clang-format on
    for (const auto& [name, stream, expected] : rows) {
        EXPECT_EQ(lengths(align(tables + stream)), expected) << name;
    }
}

TEST(Aligner, CutsAtAnyFrameWhereNoKeyFrameComes) {
    std::string stream = tables + key(0);
    for (std::uint64_t second = 1; second <= 50; ++second) {
        stream += delta(second * s);
    }
    const Aligned aligned = align(stream);
    EXPECT_EQ(lengths(aligned), "~40000 4000 4000 3000");
    EXPECT_EQ(aligned.messages.find("No key frame came for 40 s"), 0U) << aligned.messages;
    EXPECT_EQ(std::count(aligned.messages.begin(), aligned.messages.end(), '\n'), 1);
    stream.erase(tables.size(), packet_size);
    EXPECT_EQ(lengths(align(stream)), "~4000 4000 2000") << "from the first frame behind 40 s on";
    EXPECT_EQ(
        align(tables + keyFrames(5 * s, 21 * s)).messages,
        "Segments get longer than 4 s, since no key frame comes nearer: the first has 5 s.\n");
}

TEST(Aligner, PassesOnEveryPacketAsItCame) {
    const std::string stream = tables + keyFrames(s, 20 * s) + other(3) + packet({.pid = 0x11});
    const std::string aligned = align(stream).output;
    EXPECT_EQ(Stream{media(aligned)}, Stream{media(stream)});
    const std::pair<std::string, std::string> rows[] = {
        {"packets of 192 bytes", spaced(stream, "TIME", "")},
        {"packets of 204 bytes", spaced(stream, "", std::string(16, 'C'))},
        {"a beginning within a packet", other().substr(100) + stream},
        {"bytes that are no packet in between", tables + other().substr(100) + stream},
        {"an end within a packet", stream + other().substr(0, 100)},
    };
    for (const auto& [name, damaged] : rows) {
        EXPECT_EQ(Stream{align(damaged).output}, Stream{aligned}) << name;
    }
}

TEST(Aligner, GivesItsTablesCountersAndVersionsThatGoOn) {
    std::map<std::string, std::string> counters;
    std::string versions;
    const std::string output =
        align(tables + key(0) + pmtOf({0x1B}) + key(4 * s) + pmtOf({0x1B}) + key(8 * s)).output;
    for (const std::string& packet : split(output)) {
        counters[word(packet)] += std::to_string(packet[3] & 0x0F);
        versions += word(packet) == "PMT" ? std::to_string(packet[10] >> 1 & 0x1F) : "";
    }
    EXPECT_NE(output.find("G\x40\x40\x20\xB7\2\xE"s + pesHeader(4 * s) + "\xFF"),
              std::string::npos);
    EXPECT_EQ(counters["PAT"], "0123");
    EXPECT_EQ(counters["PMT"], "0123");
    EXPECT_EQ(versions, "0111");
}

TEST(Aligner, HoldsNothingBack) {
    std::size_t count = 0;
    Aligner aligner(
        4, [](const AlignedSegment&) {}, [](const std::string&) {});
    const std::string stream = tables + keyFrames(s, 21 * s) + video(21 * s) + other();
    for (const std::string& packet : split(stream)) {
        aligner.take(packet);
        const std::string output(aligner.output().begin(), aligner.output().end());
        count += output.ends_with(packet) ? 1 : 0;
        aligner.clearOutput();
    }
    EXPECT_EQ(count, stream.size() / packet_size - 5)
        << "all but the first five packets, which tell where packets begin";
}

TEST(Aligner, MovesAStreamThatUsesTheClocksPID) {
    const std::string stream = pat() + pmtOf({0x1B, 0x0F}, 0x1000, 0x40) + packet({.pid = 0x1FFE}) +
                               key(0, 0x40) + delta(s, 0x40) + key(4 * s, 0x40);
    const std::string moved = pat() + pmtOf({0x1B}, 0x1000, 0x1FFD) + key(0, 0x1FFD) +
                              delta(s, 0x1FFD) + key(4 * s, 0x1FFD);
    const Aligned aligned = align(stream);
    EXPECT_EQ(lengths(aligned), "~4000 1000");
    EXPECT_EQ(Stream{media(aligned.output)}, Stream{media(moved)});

    EXPECT_NE(aligned.output.find(pmtOf({0x1B, 0x0F}, 0x1000, 0x1FFD).substr(11, 9)),
              std::string::npos)
        << "the map names the other PID";
    EXPECT_EQ(align(pat({{1, 0x40}}) + pmtOf({0x1B}, 0x40) + key(0)).segments,
              "PAT frame clock clock key")
        << "its map is on another PID, too";
}

TEST(Aligner, ReadsAMapOfSeveralPackets) {
    // A program's descriptors of 180 bytes, the last of which names a PID of access messages, 0x40.
    const std::string body = "\2\xB0\xC6\0\1\xC1\0\0\xE1\0\xF0\xB4"s + "\x80\xAC" +
                             std::string(172, '~') + "\x09\4\0\0\xE0\x40"s + "\x1B\xE1\0\xF0\0"s;
    const std::string whole = "\0"s + section(body);
    std::string map = packet({.pid = 0x1000, .payload = whole.substr(0, 184)}) + other() +
                      packet({.pid = 0x1000, .unit_start = false, .payload = whole.substr(184)});
    const Aligned aligned = align(pat() + map + key(0));
    EXPECT_EQ(aligned.segments, "PAT PMT PMT clock clock key");
    EXPECT_NE(aligned.output.find("\x09\4\0\0\xFF\xFE"s), std::string::npos);
    map[50] = '!'; // the checksum does not fit
    EXPECT_EQ(align(pat() + map + key(0)).missing, "No program map table (PMT) came.");
}

TEST(Aligner, SaysWhatIsMissing) {
    std::string scrambled = key(0);
    scrambled[3] = '\x80';
    const std::pair<std::string, std::string> rows[] = {
        {"No transport stream came.", std::string(5000, 'x')},
        {"No program association table (PAT) came.", times(9, key(0))},
        {"No program map table (PMT) came.", pat() + key(0)},
        {"No program has video or sound.", pat() + pmtOf({5}) + key(0)},
        {"The stream is scrambled.", tables + times(5, scrambled)},
        {"No frame with a timestamp came.",
         tables + packet({.pid = 0x100, .payload = "\0\0\1\xE0\0\0\x80\0\5"s}) + other(5)},
        {"No key frame came.", tables + delta(0) + delta(s)},
        {"", tables + key(0)},
    };
    for (const auto& [missing, stream] : rows) {
        EXPECT_EQ(align(stream).missing, missing);
    }
}

TEST(FrameReader, KnowsKeyFramesByTheirBytes) {
    // clang-format off
    const std::tuple<std::string, Codec, std::string, bool> rows[] = {
        {"H.264: an IDR slice", Codec::h264, "\x65", true},
        {"H.264: an I slice behind parameters", Codec::h264, "\x67~\0\0\1\x41\xB0"s, true},
        {"H.264: one in a picture of I slices only", Codec::h264, "\x67~\0\0\1\x41\x88"s, true},
        {"H.264: an I slice alone", Codec::h264, "\x41\xB0", false},
        {"H.264: a P slice behind parameters", Codec::h264, "\x67~\0\0\1\x41\xE0"s, false},
        {"HEVC: the first kind of IRAP", Codec::hevc, "\x46\1\0\0\1\x20"s, true},
        {"HEVC: the last kind of IRAP", Codec::hevc, "\x2E", true},
        {"HEVC: a trailing picture", Codec::hevc, "\x02", false},
        {"HEVC: parameters and no picture", Codec::hevc, "\x42", false},
        {"MPEG-2: an I picture behind a header", Codec::mpeg2_video, "\xB3~\0\0\1\0\0\x08"s, true},
        {"MPEG-2: an I picture alone", Codec::mpeg2_video, "\0\0\x08"s, false},
        {"MPEG-2: a P picture behind a header", Codec::mpeg2_video, "\xB3~\0\0\1\0\0\x10"s, false},
        {"sound", Codec::sound, ""s, true},
        {"other video without a mark", Codec::other_video, ""s, false},
    };
    // clang-format on
    for (const auto& [name, codec, bytes, is_key_frame] : rows) {
        FrameReader reader(codec);
        const std::string first = packet({.payload = pesHeader(s) + "\0\0\1"s + bytes});
        reader.begin(headerOf(first), first.data());
        EXPECT_EQ(reader.isKeyFrame(), is_key_frame) << name;
        EXPECT_EQ(reader.pts(), s) << name;
    }
}

using AlignerRun = ProgramTest;

TEST_F(AlignerRun, EndsWithItsInputOrOnASignalAndLosesNothing) {
    const std::string stream = tables + keyFrames(4 * s, 9 * s);
    const std::string rest = key(12 * s) + delta(13 * s);
    const Program plain(SEGMENTER_ALIGN " --duration=4");
    plain.write({stream});
    expectOutcome(plain.end(), {.output = align(stream).output});
    const Program signalled(SEGMENTER_ALIGN " --duration=4");
    signalled.write({stream});
    ASSERT_TRUE(eventually([&] { return !signalled.output().empty(); }));
    ::kill(signalled.process(), SIGSTOP);
    signalled.write({rest});
    ::kill(signalled.process(), SIGTERM);
    ::kill(signalled.process(), SIGCONT);
    expectOutcome(signalled.end(), {.output = align(stream + rest).output});
    expectEnd(Program(SEGMENTER_ALIGN " </dev/null"), 0,
              "segmenter-align: No transport stream came.\n");
}

TEST_F(AlignerRun, EndsAtOnceWhenNobodyReadsItsOutput) {
    const Program run("sh -c '" SEGMENTER_ALIGN " --duration=4; echo $? >../ended' | true");
    EXPECT_TRUE(eventually([] { return readFile("../ended") == "0\n"; })) << "its input goes on";
    EXPECT_EQ(run.end().status, 0);
}

TEST_F(AlignerRun, RefusesArgumentsThatMakeNoSense) {
    for (const std::string argument :
         {"--duration=0", "--duration=4s", "--duration=", "--duration=3601", "--length=4", "4"}) {
        expectEnd(Program(SEGMENTER_ALIGN " " + argument), 2,
                  "segmenter-align: " + argument + " is not --duration=");
    }
    const Outcome help = Program(SEGMENTER_ALIGN " --help").end();
    EXPECT_EQ(help.status, 0);
    EXPECT_EQ(help.output.find("usage: segmenter-align [--duration=SECONDS]"), 0U);
}
