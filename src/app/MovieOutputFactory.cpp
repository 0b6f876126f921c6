#include "app/MovieOutputFactory.h"

#include "platform/GstMovieFileOutput.h"
#include "platform/Settings.h"
#include "support/Logger.h"

namespace ovelo {

MovieRecording::OutputFactory movieOutputFactory(const Settings& settings, const Clock& clock,
                                                 Logger& log) {
    return [&settings, &clock, &log] {
        const std::string codec = settings.string("movieCodec").value_or("");
        return std::make_unique<GstMovieFileOutput>(
            GstMovieFileOutput::codecNamed(codec), clock,
            [&log](const std::string& line) { log.write(line); });
    };
}

} // namespace ovelo
