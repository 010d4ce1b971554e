#include "check/report.h"

#include <iostream>

namespace {

/// What the stream is like, in a line.
std::string summary(const StreamFacts& facts) {
    const Timeline& frames = facts.timeline;
    const bool is_video = isVideo(facts.main.codec);
    const std::uint64_t lost = facts.continuity.lost;
    const auto distance = static_cast<std::int64_t>(frames.key_frame_distance.get());
    return counted(frames.frames, "frame") + (is_video ? " of video" : " of sound") + " on PID " +
           pidName(facts.main.pid) +
           (frames.rate() > 0 ? ", " + decimal(frames.rate()) + " a second" : "") +
           (is_video && distance > 0 ? ", a key frame every " + seconds(distance) : "") +
           (facts.measured.count > 0 ? ", segments of " + facts.measured.range() : "") +
           (lost > 0 ? ", at least " + counted(lost, "packet") + " lost" : "") + ".\n";
}

} // namespace

void writeRow(const SegmentFacts& segment) {
    std::ostringstream length;
    length << std::fixed << std::setprecision(2)
           << static_cast<double>(segment.length.value_or(0)) / ticks_per_second;
    std::cout << std::setw(10) << segment.number << std::setw(11) << segment.packets
              << std::setw(11) << (segment.length ? length.str() : "-");
    for (const bool has : {segment.has_pat, segment.has_pmt, segment.has_sdt}) {
        std::cout << std::setw(6) << (has ? "yes" : "-");
    }
    std::cout << std::setw(12) << (segment.has_key_frame ? "yes" : "-") << std::endl;
}

bool writeReport(const StreamFacts& facts, const std::vector<Finding>& findings,
                 const std::string& cure) {
    std::string texts;
    std::string numbers;
    std::uint64_t to_fix = 0;
    for (const Finding& finding : findings) {
        const std::string number = std::to_string(finding.number);
        texts += "\n[" + number + "] " + finding.text + '\n';
        if (!finding.is_note) {
            numbers += (to_fix++ == 0 ? "" : ",") + number;
        }
    }
    std::cout << (to_fix == 0 ? "\nNothing to fix." : '\n' + counted(to_fix, "thing") + " to fix:")
              << '\n'
              << texts << cure << '\n'
              << (facts.timeline.frames > 0 ? summary(facts) : "")
              << "result findings=" << (to_fix == 0 ? "none" : numbers)
              << " segments=" << facts.segments << " frames=" << facts.timeline.frames
              << " lost=" << facts.continuity.lost << (facts.continuity.lost > 0 ? "+" : "")
              << std::endl;
    return to_fix == 0;
}
