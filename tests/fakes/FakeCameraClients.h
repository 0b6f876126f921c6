#pragma once

#include "ipcam/CameraClient.h"

#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace ovelo {

/// Makes clients of cameras that fetch nothing and remember what they were told.
class FakeCameraClients {
public:
    CameraClientFactory factory() {
        return [state = state_](const CameraRecord& camera) {
            return std::make_unique<Client>(state, camera.name);
        };
    }

    /// "start name" and "stop name", in their order.
    [[nodiscard]] const std::vector<std::string>& calls() const { return state_->calls; }
    void setReqReturnCode(std::int32_t code) { state_->code = code; }

private:
    struct State {
        std::vector<std::string> calls;
        std::int32_t code = CameraClient::InProgress;
    };

    class Client final : public CameraClient {
    public:
        Client(std::shared_ptr<State> state, std::string name)
            : state_(std::move(state))
            , name_(std::move(name)) {}

        void start() override { change(true, "start "); }
        void stop() override { change(false, "stop "); }
        [[nodiscard]] bool started() const override { return isStarted_; }
        [[nodiscard]] std::int32_t reqReturnCode() const override { return state_->code; }

    private:
        void change(bool started, const std::string& call) {
            if (std::exchange(isStarted_, started) != started) {
                state_->calls.push_back(call + name_);
            }
        }

        std::shared_ptr<State> state_;
        std::string name_;
        bool isStarted_ = false;
    };

    std::shared_ptr<State> state_ = std::make_shared<State>();
};

} // namespace ovelo
