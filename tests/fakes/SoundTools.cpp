#include "fakes/SoundTools.h"

#include "platform/GstRuntime.h"

#include <gst/app/gstappsink.h>
#include <gst/app/gstappsrc.h>
#include <gst/gst.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <fstream>
#include <numbers>
#include <sstream>

namespace ovelo::sound {

namespace {

constexpr double kAmplitude = 16384;

/// The sweep at a moment, repeated for ever.
double sweepAt(double time, double seconds, double from, double to) {
    time -= seconds * std::floor(time / seconds);
    const double turns = from * time + (to - from) * time * time / (2 * seconds);
    return std::sin(2 * std::numbers::pi * turns);
}

std::vector<double> expected(std::size_t count, double begin, int rate, double seconds, double from,
                             double to) {
    std::vector<double> samples(count);
    for (std::size_t i = 0; i < count; ++i) {
        samples[i] = sweepAt(begin + static_cast<double>(i) / rate, seconds, from, to);
    }
    return samples;
}

double correlation(std::span<const std::int16_t> heard, const std::vector<double>& wanted) {
    double product = 0;
    double heardPower = 1e-9;
    double wantedPower = 1e-9;
    for (std::size_t i = 0; i < heard.size(); ++i) {
        product += heard[i] * wanted[i];
        heardPower += static_cast<double>(heard[i]) * heard[i];
        wantedPower += wanted[i] * wanted[i];
    }
    return product / std::sqrt(heardPower * wantedPower);
}

struct Sweep {
    double seconds;
    double from;
    double to;
    int rate;

    [[nodiscard]] std::vector<double> part(std::size_t count, double begin) const {
        return expected(count, begin, rate, seconds, from, to);
    }
};

/// Where in the sweep sound begins, of places that a table has.
double coarseBegin(std::span<const std::int16_t> head, const Sweep& sweep) {
    constexpr int kFinesse = 4;
    const auto table = expected(static_cast<std::size_t>(sweep.seconds * sweep.rate * kFinesse) +
                                    head.size() * kFinesse,
                                0, sweep.rate * kFinesse, sweep.seconds, sweep.from, sweep.to);
    double best = -1;
    std::size_t begin = 0;
    for (std::size_t at = 0; at + head.size() * kFinesse < table.size(); ++at) {
        double match = 0;
        for (std::size_t i = 0; i < head.size(); ++i) {
            match += head[i] * table[at + i * kFinesse];
        }
        if (match > best) {
            best = match;
            begin = at;
        }
    }
    return static_cast<double>(begin) / (sweep.rate * kFinesse);
}

/// The same, of places close by.
double fineBegin(std::span<const std::int16_t> head, double middle, const Sweep& sweep) {
    double best = -1;
    double begin = middle;
    for (int step = -50; step <= 50; ++step) {
        const double at = middle + step * 0.01 / sweep.rate;
        const double match = correlation(head, sweep.part(head.size(), at));
        if (match > best) {
            best = match;
            begin = at;
        }
    }
    return begin;
}

Fit fitFrom(std::span<const std::int16_t> samples, std::size_t window, double begin,
            const Sweep& sweep) {
    Fit fit;
    fit.worst = 1;
    for (std::size_t i = 0; i + window <= samples.size(); i += window / 2) {
        const double time = static_cast<double>(i) / sweep.rate;
        const double match =
            correlation(samples.subspan(i, window), sweep.part(window, begin + time));
        if (match < fit.worst) {
            fit.worst = match;
            fit.where = time;
        }
    }
    return fit;
}

void put(std::ofstream& file, std::uint32_t value, int bytes) {
    for (int i = 0; i < bytes; ++i) {
        file.put(static_cast<char>(value >> (8 * i) & 0xffU));
    }
}

} // namespace

std::vector<std::int16_t> sweep(double seconds, double from, double to, int rate) {
    std::vector<std::int16_t> samples(static_cast<std::size_t>(std::lround(seconds * rate)));
    for (std::size_t i = 0; i < samples.size(); ++i) {
        const double time = static_cast<double>(i) / rate;
        samples[i] =
            static_cast<std::int16_t>(std::lround(kAmplitude * sweepAt(time, seconds, from, to)));
    }
    return samples;
}

void writeWav(const std::string& path, std::span<const std::int16_t> samples, int rate) {
    std::ofstream file(path, std::ios::binary);
    const auto size = static_cast<std::uint32_t>(samples.size_bytes());
    const auto speed = static_cast<std::uint32_t>(rate);
    file << "RIFF";
    put(file, 36 + size, 4);
    file << "WAVEfmt ";
    put(file, 16, 4);
    put(file, 1, 2); // samples
    put(file, 1, 2); // one channel
    put(file, speed, 4);
    put(file, speed * 2, 4);
    put(file, 2, 2);
    put(file, 16, 2);
    file << "data";
    put(file, size, 4);
    for (const std::int16_t sample : samples) {
        put(file, static_cast<std::uint16_t>(sample), 2);
    }
}

void writeRaw(const std::string& path, std::span<const std::int16_t> samples) {
    std::ofstream(path, std::ios::binary)
        .write(reinterpret_cast<const char*>(samples.data()),
               static_cast<std::streamsize>(samples.size_bytes()));
}

std::vector<std::int16_t> fromBigEndian(std::span<const std::uint8_t> bytes) {
    std::vector<std::int16_t> samples(bytes.size() / 2);
    for (std::size_t i = 0; i < samples.size(); ++i) {
        samples[i] = static_cast<std::int16_t>(bytes[2 * i] << 8 | bytes[2 * i + 1]);
    }
    return samples;
}

double loudness(std::span<const std::int16_t> samples) {
    double squares = 0;
    for (const double sample : samples) {
        squares += sample * sample;
    }
    return std::sqrt(squares / static_cast<double>(samples.size())) / 32768;
}

Fit compareWithSweep(std::span<const std::int16_t> samples, double seconds, double from, double to,
                     int rate) {
    const auto window = static_cast<std::size_t>(rate / 10);
    const auto first = static_cast<std::size_t>(rate / 2);
    if (samples.size() < first + 10 * window) {
        return {};
    }
    const Sweep sweep{seconds, from, to, rate};
    const auto rest = samples.subspan(first);
    const double begin = coarseBegin(rest.first(window), sweep);
    const double turn = 1 / (from + (to - from) * (begin / seconds - std::floor(begin / seconds)));
    Fit best;
    best.worst = -1;
    // A tenth of a second is nearly the same a turn earlier or later; the rest of it is not.
    for (int turns = -2; turns <= 2; ++turns) {
        const double at = fineBegin(rest.first(window), begin + turns * turn, sweep);
        Fit fit = fitFrom(rest, window, at, sweep);
        if (fit.worst > best.worst) {
            fit.where += static_cast<double>(first) / rate;
            fit.delay = static_cast<double>(first) / rate - at;
            best = fit;
        }
    }
    return best;
}

std::vector<std::int16_t> decodeAac(const std::vector<Bytes>& packets) {
    GstRuntime::begin();
    GstElement* pipeline = gst_parse_launch(
        "appsrc name=in format=time caps=\"audio/mpeg,mpegversion=4,stream-format=raw,rate=8000,"
        "channels=1,codec_data=(buffer)1588\" ! avdec_aac ! audioconvert"
        " ! audio/x-raw,format=S16LE,channels=1 ! appsink name=out sync=false",
        nullptr);
    std::vector<std::int16_t> samples;
    EXPECT_NE(pipeline, nullptr);
    if (!pipeline) {
        return samples;
    }
    GstElement* in = gst_bin_get_by_name(GST_BIN(pipeline), "in");
    GstElement* out = gst_bin_get_by_name(GST_BIN(pipeline), "out");
    gst_element_set_state(pipeline, GST_STATE_PLAYING);
    GstClockTime time = 0;
    for (const Bytes& packet : packets) {
        GstBuffer* buffer = gst_buffer_new_memdup(packet.data(), packet.size());
        GST_BUFFER_PTS(buffer) = time;
        GST_BUFFER_DURATION(buffer) = 128 * GST_MSECOND;
        time += 128 * GST_MSECOND;
        gst_app_src_push_buffer(GST_APP_SRC(in), buffer);
    }
    gst_app_src_end_of_stream(GST_APP_SRC(in));
    while (GstSample* sample = gst_app_sink_try_pull_sample(GST_APP_SINK(out), 5 * GST_SECOND)) {
        GstMapInfo map;
        if (gst_buffer_map(gst_sample_get_buffer(sample), &map, GST_MAP_READ)) {
            const auto* data = reinterpret_cast<const std::int16_t*>(map.data);
            samples.insert(samples.end(), data, data + map.size / 2);
            gst_buffer_unmap(gst_sample_get_buffer(sample), &map);
        }
        gst_sample_unref(sample);
    }
    gst_element_set_state(pipeline, GST_STATE_NULL);
    gst_object_unref(in);
    gst_object_unref(out);
    gst_object_unref(pipeline);
    return samples;
}

std::vector<Bytes> packetsOf(const Bytes& message) {
    const auto zero = std::find(message.begin(), message.end(), 0);
    std::istringstream header(std::string(message.begin(), zero));
    const auto number = [&] {
        std::string text;
        std::getline(header, text, ',');
        EXPECT_FALSE(text.empty());
        return text.empty() ? 0U : static_cast<std::size_t>(std::stoul(text));
    };
    std::vector<Bytes> packets;
    const std::size_t count = number();
    std::size_t total = 0;
    for (std::size_t i = 0; i < count; ++i) {
        const std::size_t size = number();
        EXPECT_EQ(number(), total); // begins where the one before ends
        EXPECT_EQ(number(), 0U);
        const auto begin = zero + 1 + static_cast<std::ptrdiff_t>(total);
        packets.emplace_back(begin, begin + static_cast<std::ptrdiff_t>(size));
        total += size;
    }
    EXPECT_EQ(number(), total);
    EXPECT_EQ(message.end() - zero - 1, static_cast<std::ptrdiff_t>(total));
    return packets;
}

} // namespace ovelo::sound
