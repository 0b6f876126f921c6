#pragma once

typedef struct _GstPad GstPad;

namespace ovelo {

/// True when what feeds this sink pad would deliver as fast as it can be read, and not as it
/// happens: then the sink has to wait for each buffer's time.
///
/// thread  any, once the first buffer is on its way: all elements are connected and can be asked
[[nodiscard]] bool needsPacing(GstPad* pad);

} // namespace ovelo
