#pragma once

#include "app/DocumentWindow.h"

#include <string>
#include <vector>

namespace ovelo {

/// A window that only remembers.
class FakeWindow final : public DocumentWindow {
public:
    void orderFront(Panel panel) override { shown.push_back(panel); }
    void orderOut(Panel panel) override { hidden.push_back(panel); }
    std::string emailText() const override { return email; }
    void setEmailText(const std::string& text) override { email = text; }
    void presentError(const std::string& message, const std::string& informativeText) override {
        errors.push_back(message + " / " + informativeText);
    }
    void runAlert(const std::string& message, const std::string& informativeText) override {
        alerts.push_back(message + " / " + informativeText);
    }
    void hideMainWindow() override { isHidden = true; }

    std::vector<Panel> shown;
    std::vector<Panel> hidden;
    std::string email;
    std::vector<std::string> errors;
    std::vector<std::string> alerts;
    bool isHidden = false;
};

} // namespace ovelo
