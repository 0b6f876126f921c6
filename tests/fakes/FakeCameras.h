#pragma once

#include "app/NetworkCameras.h"

#include <string>
#include <vector>

namespace ovelo {

/// Network cameras that only remember who was started and stopped.
class FakeCameras final : public NetworkCameras {
public:
    std::vector<Camera> cameras() const override { return list; }
    void start(const std::string& name) override { calls.push_back("start " + name); }
    void stop(const std::string& name) override { calls.push_back("stop " + name); }

    std::vector<Camera> list;
    std::vector<std::string> calls;
};

} // namespace ovelo
