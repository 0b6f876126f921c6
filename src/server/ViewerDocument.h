#pragma once

#include <string>

namespace ovelo {

/// What viewers may ask of the application. Implemented by MyDocument.
///
/// thread  any that holds no lock: what changes the capture session, a recording or a playback runs
///         on the main thread while the caller waits
class ViewerDocument {
public:
    virtual ~ViewerDocument() = default;

    /// The line that lists the sources, with its line feed.
    virtual std::string getDataSource() = 0;

    /// Chooses sources from "video name|audio name".
    virtual void setDataSource(const std::string& source) = 0;

    /// The line that lists the recordings, with its line feed.
    virtual std::string getRecordedList() = 0;

    /// Starts or ends a recording of the live picture.
    virtual void setStartRecording(bool start) = 0;

    /// Plays a recording, a file name of the list, to all viewers instead of the live picture; ends
    /// one that is running.
    virtual void startPlayback(const std::string& name) = 0;

    /// Ends a running playback.
    virtual void stopPlayback() = 0;

    /// The line that describes the format of the sound, with its line feed; full of zeros before
    /// anything was captured.
    virtual std::string getAudioParameters() = 0;

    /// The format in which sound is captured from its next start on. format: 0 PCM, 1 AAC
    virtual void setAudioFormat(int format) = 0;

    virtual void rotateLeft() = 0;
    virtual void rotateRight() = 0;

    /// A viewer on TCP is gone. Called on the main thread.
    virtual void clientDisconnected() = 0;
};

} // namespace ovelo
