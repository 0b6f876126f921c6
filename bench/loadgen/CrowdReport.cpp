#include "Crowd.h"
#include "Support.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cinttypes>
#include <cstdio>
#include <cstring>

namespace loadgen {

void Crowd::report(int64_t windowUs, const ProcessSample& a, const ProcessSample& b,
                   const MachineSample& ma, const MachineSample& mb, double selfUs) {
    double seconds = double(windowUs) / 1e6;
    std::vector<double> rates;
    int64_t worst = 0;
    int starved = 0;
    for (const Viewer& v : viewers_)
        if (!v.slow && !v.churn) {
            rates.push_back(double(v.frames) / seconds);
            worst = std::max(worst, v.worstGap);
            starved += v.frames == 0;
        }
    std::sort(rates.begin(), rates.end());
    double low = rates.empty() ? 0 : rates.front(), high = rates.empty() ? 0 : rates.back();
    double median = rates.empty() ? 0 : rates[rates.size() / 2];
    double cpu = b.cpuUs - a.cpuUs;
    double perFrame = frames_ ? cpu / double(frames_) : 0;
    double ticks = (mb.busy - ma.busy) + (mb.idle - ma.idle) + (mb.steal - ma.steal);
    double cores = double(sysconf(_SC_NPROCESSORS_ONLN));
    double busyPct = ticks > 0 ? 100 * cores * (mb.busy - ma.busy) / ticks : 0;
    double stealPct = ticks > 0 ? 100 * cores * (mb.steal - ma.steal) / ticks : 0;
    double cpuPct = cpu / double(windowUs) * 100, selfPct = selfUs / double(windowUs) * 100;
    double otherPct = std::max(0.0, busyPct - cpuPct - selfPct);
    auto ms = [](int64_t us) { return double(us) / 1000; };
    double meanBytes = frames_ ? double(bytes_) / double(frames_) : 0;
    int live = o_.clients - o_.slow - o_.churn;

    printf("run          %s\n", o_.label.empty() ? "(no label)" : o_.label.c_str());
    printf("viewers      %d asked: %d live, %d slow, %d churning; connections %" PRIu64
           ", streaming %" PRIu64 ", refused %" PRIu64 ", failed %" PRIu64 "\n",
           o_.clients, live, o_.slow, o_.churn, connected_, streaming_, refused_, failed_);
    printf("window       %.2f s\n", seconds);
    if (o_.clients) {
        printf("pictures     %" PRIu64
               " delivered (%.0f/s), %.0f bytes each, %.1f MB/s; broken %" PRIu64 "\n",
               frames_, double(frames_) / seconds, meanBytes, double(bytes_) / seconds / 1e6,
               broken_);
        printf("per viewer   %.2f / %.2f / %.2f pictures/s (min / median / max), %d without any\n",
               low, median, high, starved);
        printf("gap ms       p50 %.1f  p99 %.1f  p99.9 %.1f  max %.1f\n", ms(gaps_.quantile(.5)),
               ms(gaps_.quantile(.99)), ms(gaps_.quantile(.999)), ms(worst));
        printf("connect ms   p50 %.2f  p99 %.2f  max %.2f\n", ms(connectTimes_.quantile(.5)),
               ms(connectTimes_.quantile(.99)), ms(connectTimes_.max()));
        printf("first pic ms p50 %.1f  p99 %.1f  max %.1f   (from connect)\n",
               ms(firstTimes_.quantile(.5)), ms(firstTimes_.quantile(.99)), ms(firstTimes_.max()));
        if (staticPicture_)
            printf("spread ms    n/a: pictures repeat\n");
        else if (spread_.total())
            printf("spread ms    p50 %.2f  p99 %.2f  max %.2f   (behind the first viewer that got "
                   "the same picture)\n",
                   ms(spread_.quantile(.5)), ms(spread_.quantile(.99)), ms(spread_.max()));
        if (o_.latency)
            printf("latency ms   p50 %.2f  p99 %.2f  max %.2f   (camera to viewer; %" PRIu64
                   " without a readable stamp)\n",
                   ms(latency_.quantile(.5)), ms(latency_.quantile(.99)), ms(latency_.max()),
                   stampsMissing_);
        if (rtt_.total())
            printf("answer ms    p50 %.2f  p99 %.2f  max %.2f   (%" PRIu64 " GetSources)\n",
                   ms(rtt_.quantile(.5)), ms(rtt_.quantile(.99)), ms(rtt_.max()), rtt_.total());
        printf("protocol     ids skipped %" PRIu64 ", ids back %" PRIu64 ", audio %" PRIu64
               " (%" PRIu64 " bytes), other lines %" PRIu64 "\n",
               idSkips_, idBack_, audio_, audioBytes_, otherLines_);
        printf("trouble      dropped live %" PRIu64 ", dropped slow %" PRIu64
               ", protocol errors %" PRIu64 "%s\n",
               dropsLive_, dropsSlow_, protocolErrors_,
               o_.churn ? (", visits " + std::to_string(churns_)).c_str() : "");
    }
    if (!o_.pids.empty()) {
        printf("server cpu   %.3f s = %.2f %% of one core (user %.2f s, system %.2f s); %.2f us "
               "per picture and viewer\n",
               cpu / 1e6, cpuPct, (b.userUs - a.userUs) / 1e6, (b.systemUs - a.systemUs) / 1e6,
               perFrame);
        printf("server       rss %.1f MB, peak %.1f MB, %ld threads, %ld descriptors; switches/s "
               "%.0f own, %.0f forced\n",
               b.rssKb / 1024, b.peakKb / 1024, b.threads, b.fds,
               double(b.voluntary - a.voluntary) / seconds,
               double(b.involuntary - a.involuntary) / seconds);
    }
    printf("machine      loadgen %.1f %%, others %.1f %%, steal %.1f %% of one core%s\n", selfPct,
           otherPct, stealPct,
           selfPct > 85 ? "  ** loadgen saturated: gaps are its own **"
                        : (cpuPct + selfPct + otherPct > 95 * cores ? "  ** machine full **" : ""));
    for (const auto& note : notes_)
        printf("note         %s\n", note.c_str());

    if (o_.json.empty())
        return;
    FILE* f = fopen(o_.json.c_str(), "a");
    if (!f)
        die("%s: %s", o_.json.c_str(), strerror(errno));
    fprintf(f,
            "{\"label\":\"%s\",\"clients\":%d,\"slow\":%d,\"churn\":%d,\"connected\":%" PRIu64
            ",\"streaming\":%" PRIu64 ",\"seconds\":%.3f,\"frames\":%" PRIu64
            ",\"fps_min\":%.2f,\"fps_med\":%.2f,\"fps_max\":%.2f,\"starved\":%d"
            ",\"bytes_each\":%.0f,\"gap_p50\":%.2f,\"gap_p99\":%.2f,\"gap_max\":%.2f,\"connect_"
            "p99\":%.2f,\"first_p50\":%.2f"
            ",\"first_p99\":%.2f,\"spread_p50\":%.2f,\"spread_p99\":%.2f,\"latency_p50\":%.2f,"
            "\"latency_p99\":%.2f"
            ",\"latency_max\":%.2f,\"broken\":%" PRIu64 ",\"dropped_live\":%" PRIu64
            ",\"dropped_slow\":%" PRIu64 ",\"cpu_s\":%.4f,\"cpu_pct\":%.2f,\"cpu_us_per_frame\":%."
            "3f,\"user_s\":%.2f,\"sys_s\":%.2f,\"rss_mb\":%.1f"
            ",\"peak_mb\":%.1f,\"threads\":%ld,\"loadgen_pct\":%.1f,\"others_pct\":%.1f,\"steal_"
            "pct\":%.1f,\"fds\":%ld,\"first_max\":%.2f,\"answer_p50\":%.2f"
            ",\"answer_p99\":%.2f,\"answers\":%" PRIu64 ",\"protocol_errors\":%" PRIu64
            ",\"visits\":%" PRIu64 "}\n",
            o_.label.c_str(), o_.clients, o_.slow, o_.churn, connected_, streaming_, seconds,
            frames_, low, median, high, starved, meanBytes, ms(gaps_.quantile(.5)),
            ms(gaps_.quantile(.99)), ms(worst), ms(connectTimes_.quantile(.99)),
            ms(firstTimes_.quantile(.5)), ms(firstTimes_.quantile(.99)), ms(spread_.quantile(.5)),
            ms(spread_.quantile(.99)), ms(latency_.quantile(.5)), ms(latency_.quantile(.99)),
            ms(latency_.max()), broken_, dropsLive_, dropsSlow_, cpu / 1e6, cpuPct, perFrame,
            (b.userUs - a.userUs) / 1e6, (b.systemUs - a.systemUs) / 1e6, b.rssKb / 1024,
            b.peakKb / 1024, b.threads, selfPct, otherPct, stealPct, b.fds, ms(firstTimes_.max()),
            ms(rtt_.quantile(.5)), ms(rtt_.quantile(.99)), rtt_.total(), protocolErrors_, churns_);
    fclose(f);
}

} // namespace loadgen
