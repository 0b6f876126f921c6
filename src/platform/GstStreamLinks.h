#pragma once

#include "platform/GstSoundDelivery.h"
#include "platform/GstTypes.h"

#include <memory>

typedef struct _GstPad GstPad;

namespace ovelo {

/// Connects the streams of a source with what takes them, as they appear.
///
/// thread    any: streams appear on threads of the library
/// lifetime  held by the source that it watches
class GstStreamLinks final {
public:
    /// What takes the streams. The pointers are lent by the pipeline, which outlives its source.
    struct Ends {
        GstElement* pipeline = nullptr;
        GstElement* front = nullptr; // takes the first stream of pictures, or of sound without them
        bool takesPictures = true;
        std::shared_ptr<GstSoundDelivery> sound; // beside pictures; null when it is not wanted
        bool isPaced = false;                    // the source is a file
    };

    explicit GstStreamLinks(Ends ends) : ends_(std::move(ends)) {}

    /// Connects the streams that `source` will have.
    static void watch(GstElement* source, const std::shared_ptr<GstStreamLinks>& links);

    /// Connects every stream of a bin that is in the pipeline: those that nothing in it takes, and
    /// those that appear later.
    static void watchBin(GstElement* bin, const std::shared_ptr<GstStreamLinks>& links);

    /// Connects this stream, if it is one that is wanted and not there yet.
    void link(GstPad* pad);

    [[nodiscard]] bool isFrontLinked() const;

    /// What to say when it is not.
    [[nodiscard]] const char* complaint() const;

private:
    void linkFront(GstPad* pad);
    /// return  false when it cannot be: another stream may do
    bool linkSound(GstPad* pad);

    const Ends ends_;
    bool hasSound_ = false; // streams appear one after the other
};

} // namespace ovelo
