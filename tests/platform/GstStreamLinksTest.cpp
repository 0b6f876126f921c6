#include "platform/GstStreamLinks.h"

#include "platform/GstRuntime.h"
#include "platform/GstSoundTail.h"

#include <gst/gst.h>

#include <gtest/gtest.h>

#include <memory>

namespace ovelo {

namespace {

class GstStreamLinksTest : public testing::Test {
protected:
    GstStreamLinksTest() {
        GstRuntime::begin();
        pipeline.reset(gst_pipeline_new(nullptr));
        auto* front = gst_element_factory_make("fakesink", nullptr);
        gst_bin_add(GST_BIN(pipeline.get()), front);
        links = std::make_unique<GstStreamLinks>(
            GstStreamLinks::Ends{pipeline.get(), front, true, delivery, false});
    }

    static GstPointer<GstElement> sound() {
        return GstPointer<GstElement>(
            GST_ELEMENT(gst_object_ref_sink(gst_element_factory_make("audiotestsrc", nullptr))));
    }
    void link(const GstPointer<GstElement>& source) const {
        GstPad* pad = gst_element_get_static_pad(source.get(), "src");
        links->link(pad);
        gst_object_unref(pad);
    }
    [[nodiscard]] bool hasSound() const {
        const GstPointer<GstElement> sink(
            gst_bin_get_by_name(GST_BIN(pipeline.get()), kGstSoundName));
        return sink != nullptr;
    }

    const std::shared_ptr<GstSoundDelivery> delivery =
        std::make_shared<GstSoundDelivery>(std::make_shared<SoundTaps>());
    GstPointer<GstElement> pipeline;
    std::unique_ptr<GstStreamLinks> links;
};

TEST_F(GstStreamLinksTest, TakesTheNextSoundWhenTheFirstCannotBeLinked) {
    link(sound()); // in no pipeline
    EXPECT_FALSE(hasSound());

    const auto source = sound();
    gst_bin_add(GST_BIN(pipeline.get()), source.get());
    link(source);
    EXPECT_TRUE(hasSound());
}

} // namespace

} // namespace ovelo
