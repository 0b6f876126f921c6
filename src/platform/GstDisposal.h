#pragma once

#include <memory>
#include <vector>

namespace ovelo {

class GstVideoRun;

/// Where runs end that would not end at once: a dead network source may take its time to let go,
/// and nobody should wait for it but the end of the program, and that not for long.
///
/// thread    main
/// lifetime  shared by all devices; the last one waits for half a second for what is left. A run
///           that a hung server holds longer is left behind in the library, see GstVideoRun
class GstDisposal final {
public:
    GstDisposal();
    ~GstDisposal();
    GstDisposal(const GstDisposal&) = delete;
    GstDisposal& operator=(const GstDisposal&) = delete;

    /// Takes over a run that was asked to stop.
    void take(std::unique_ptr<GstVideoRun> run);

private:
    std::vector<std::unique_ptr<GstVideoRun>> runs_;
};

} // namespace ovelo
