#include "capture/ViewerPicture.h"

#include "capture/Bitmap.h"
#include "capture/ImageUtil.h"
#include "capture/PictureTransform.h"
#include "platform/Jpeg.h"

namespace ovelo::viewerpicture {

Result<Data> encode(const VideoFrame& picture) {
    constexpr int kQuality = 40; // a compression factor of 0.4
    return jpeg::encode(picture, kQuality);
}

Result<Data> plain(const VideoFrame& picture, const Settings& settings) {
    if (picture.width == kWidth && picture.height == kHeight &&
        PictureTransform::fromSettings(settings).isIdentity()) {
        return encode(picture); // no step would change a pixel: then none is copied either
    }
    const Bitmap bitmap = ImageUtil::GetResizedImage(picture, kWidth, kHeight, settings);
    return encode(bitmap.frame());
}

} // namespace ovelo::viewerpicture
