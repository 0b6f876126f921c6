#pragma once

namespace ovelo {

/// What the motion detector asks of the document. Called on the main thread.
class MotionDocument {
public:
    virtual ~MotionDocument() = default;

    /// Begins a recording; does nothing while one goes on.
    virtual void startRecording() = 0;

    /// Ends a recording, whoever began it.
    virtual void stopRecording() = 0;
};

} // namespace ovelo
