#pragma once

#include "viewer/ScriptedServer.h"
#include "viewer/ViewerClient.h"

#include <gtest/gtest.h>

#include <chrono>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <variant>

namespace ovelo {

/// A client and the server it meets.
class ViewerClientFixture : public testing::Test {
protected:
    ViewerOptions options() {
        ViewerOptions result;
        result.host = "127.0.0.1";
        result.port = server_.port();
        return result;
    }

    /// Connects and lets the server greet.
    void meet(ViewerClient& client, std::string_view greeting) {
        const auto failure = client.connect();
        ASSERT_FALSE(failure) << failure->text;
        ASSERT_TRUE(server_.accept());
        server_.say(greeting);
        ASSERT_TRUE(nextOf<GreetingEvent>(client));
    }

    /// The next event when it is of this kind, else none.
    template <typename Event>
    static std::optional<Event> nextOf(ViewerClient& client) {
        auto event = client.next(std::chrono::seconds(5));
        if (!event || !std::holds_alternative<Event>(*event)) {
            return std::nullopt;
        }
        return std::get<Event>(std::move(*event));
    }

    /// The next line that the client sends by itself while it hears nothing.
    std::optional<std::string> heardWhileSilent(ViewerClient& client) {
        for (int i = 0; i < 500; ++i) {
            EXPECT_FALSE(client.next(std::chrono::milliseconds(10)));
            if (auto line = server_.hear(0)) {
                return line;
            }
        }
        return std::nullopt;
    }

    ScriptedServer server_;
};

} // namespace ovelo
