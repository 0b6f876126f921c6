#pragma once

#include <string>

namespace ovelo {

/// What viewers may ask of the application. Implemented by MyDocument.
///
/// thread  any that holds no lock: what changes the capture session runs on the main thread while
/// the caller waits
class ViewerDocument {
public:
    virtual ~ViewerDocument() = default;

    /// The line that lists the sources, with its line feed.
    virtual std::string getDataSource() = 0;

    /// Chooses sources from "video name|audio name".
    virtual void setDataSource(const std::string& source) = 0;

    /// Ends a running playback.
    virtual void stopPlayback() = 0;

    virtual void rotateLeft() = 0;
    virtual void rotateRight() = 0;

    /// A viewer on TCP is gone. Called on the main thread.
    virtual void clientDisconnected() = 0;
};

} // namespace ovelo
