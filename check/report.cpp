#include "check/report.h"

#include "check/text.h"
#include "tsinspect/muxer.h"
#include "tsinspect/pts.h"

#include <algorithm>
#include <functional>
#include <iomanip>
#include <string>

namespace {

const char* mark(bool is_there) { return is_there ? "yes" : "-"; }

std::string videoSentence(const StreamFacts& facts, const MuxerPIDs* muxer) {
    const std::string place = muxer == nullptr ? "on any PID" : "on PID " + pidName(muxer->video);
    if (facts.frames == 0) {
        return "No video was found " + place + ".";
    }
    std::string text = "Video was found " + place + ": " + counted(facts.frames, "frame");
    if (const double rate = frameRate(facts); rate > 0) {
        text += ", " + decimal(rate, 3) + " a second";
    }
    const auto distance = static_cast<std::int64_t>(facts.key_frame_distances.get());
    return text + (distance > 0 ? ", a key frame every " + seconds(distance) : "") + ".";
}

std::string tableSentence(const StreamFacts& facts, const MuxerPIDs* muxer) {
    return muxer == nullptr ? "No packet is known that segments could begin with."
                            : "Segments can begin with the packets on PID " + pidName(muxer->cut) +
                                  ", of which " + std::to_string(facts.cut_packets) + " came.";
}

std::string segmentSentence(const StreamFacts& facts) {
    const std::string of_all = " of " + counted(facts.with_video, "segment");
    return "A key frame comes first in " + std::to_string(facts.with_key_frame) + of_all +
           ", PAT and PMT before the video in " + std::to_string(facts.with_tables) + ".";
}

std::string lengthSentence(const StreamFacts& facts, const Options& settings) {
    const std::string stated = "the playlist says " + std::to_string(settings.duration) + " s.";
    if (facts.measured == 0) {
        return "No segment was followed by another, so none could be measured; " + stated;
    }
    return "Segments last " + decimal(static_cast<double>(facts.lengths.get()) / 100) +
           " s as a rule (" + seconds(static_cast<std::int64_t>(facts.shortest)) + " to " +
           seconds(static_cast<std::int64_t>(facts.longest)) + "); " + stated;
}

} // namespace

void writeHeading(std::ostream& out) {
    out << "   segment    packets    seconds   PAT   PMT   SDT   key-frame" << std::endl;
}

void writeRow(std::ostream& out, const SegmentFacts& segment) {
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

void writeSummary(std::ostream& out, const StreamFacts& facts, const Options& settings) {
    const MuxerPIDs* muxer = findMuxer(settings.mux_type);
    out << '\n';
    if (isNoise(facts)) {
        out << counted(facts.packets, "packet") << ", of which nothing more can be said.\n";
        return;
    }
    for (const std::string& sentence : {videoSentence(facts, muxer), tableSentence(facts, muxer),
                                        segmentSentence(facts), lengthSentence(facts, settings)}) {
        writeWrapped(out, "", sentence);
    }
    if (facts.wraps > 0) {
        writeWrapped(out, "",
                     "The 33-bit clock began anew " + counted(facts.wraps, "time") +
                         ", which is no fault.");
    }
}

void writeFindings(std::ostream& out, std::span<const Finding> findings) {
    if (std::all_of(findings.begin(), findings.end(), std::mem_fn(&Finding::is_note))) {
        out << "\nNothing to mend.\n";
    }
    for (const Finding& finding : findings) {
        out << '\n';
        writeWrapped(out, '[' + std::to_string(finding.number) + "] ",
                     (finding.is_note ? "Note: " : "") + finding.reason);
        writeWrapped(out, "    ", finding.remedy);
        if (!finding.to_copy.empty()) {
            out << "    " << finding.to_copy << '\n';
        }
    }
    out << std::flush;
}
