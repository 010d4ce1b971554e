#include "check/stream_check.h"

#include "check/text.h"
#include "tsinspect/ts.h"

#include <iomanip>
#include <utility>

namespace {

/// What the stream is like, in a sentence.
std::string summary(const StreamFacts& facts) {
    const Timeline& time = facts.video.time;
    const auto distance = static_cast<std::int64_t>(time.key_frame_distance.get());
    return counted(time.frames, "frame") + " of video on PID " + pidName(facts.video.pid) +
           (time.rate() > 0 ? ", " + decimal(time.rate(), 3) + " a second" : "") +
           (distance > 0 ? ", a key frame every " + seconds(distance) : "") +
           (facts.measured.count > 0 ? ", segments of " + range(facts.measured) : "") + '.';
}

const char* mark(bool is_there) { return is_there ? "yes" : "-"; }

} // namespace

StreamCheck::StreamCheck(Options& settings, std::ostream& out, std::string stray_words)
    : settings(settings), out(out), stray_words(std::move(stray_words)),
      reader(settings, [this](const SegmentFacts& segment) { writeRow(segment); }) {
    out << "   segment    packets    seconds   PAT   PMT   SDT   key-frame" << std::endl;
    writeNews();
}

void StreamCheck::take(std::span<char> packets) {
    constexpr std::uint64_t often = 256; // packets
    const StreamFacts& facts = reader.facts();
    for (; !packets.empty(); packets = packets.subspan(packet_size)) {
        const std::uint64_t segments = facts.segments;
        reader.take(packets.data());
        if (facts.segments > segments || facts.sync.packets % often == 0) {
            writeNews();
        }
    }
}

bool StreamCheck::end() {
    reader.end();
    const StreamFacts& facts = reader.facts();
    const auto [findings, cure] = judge(facts, settings, stray_words, true);
    std::string numbers;
    std::uint64_t to_fix = 0;
    for (const Finding& finding : findings) {
        if (!finding.is_note) {
            ++to_fix;
            numbers += (numbers.empty() ? "" : ",") + std::to_string(finding.number);
        }
    }
    out << '\n'
        << (to_fix == 0 ? "Nothing to fix." : counted(to_fix, "thing") + " to fix:") << '\n';
    for (const Finding& finding : findings) {
        out << "\n[" << finding.number << "] " << finding.text << '\n';
    }
    writeCure(out, cure, facts, settings);
    out << '\n';
    if (facts.video.time.frames > 0) {
        out << summary(facts) << '\n';
    }
    out << "result findings=" << (numbers.empty() ? "none" : numbers)
        << " segments=" << facts.segments
        << " frames=" << (facts.video.is_elsewhere ? 0 : facts.video.time.frames)
        << " lost=" << facts.continuity.lost << std::endl;
    return to_fix == 0;
}

void StreamCheck::writeRow(const SegmentFacts& segment) {
    constexpr double ticks = ticks_per_second;
    out << std::setw(10) << segment.number << std::setw(11) << segment.packets << std::setw(11);
    if (segment.length) {
        out << std::fixed << std::setprecision(2) << static_cast<double>(*segment.length) / ticks;
    } else {
        out << '-';
    }
    out << std::setw(6) << mark(segment.has_pat) << std::setw(6) << mark(segment.has_pmt)
        << std::setw(6) << mark(segment.has_sdt) << std::setw(12) << mark(segment.has_key_frame)
        << std::endl;
}

void StreamCheck::writeNews() {
    for (const Finding& finding : judge(reader.facts(), settings, stray_words, false).findings) {
        if (told.insert(finding.number).second) {
            out << '[' << finding.number << "] " << finding.text << std::endl;
        }
    }
}
