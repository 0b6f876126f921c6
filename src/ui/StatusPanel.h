#pragma once

#include <QWidget>

#include <sigc++/sigc++.h>

#include <functional>
#include <string>

class QLabel;

namespace ovelo {

class Network;

/// What the viewer server says about itself: its state, its announcement and its two addresses.
///
/// thread  main
class StatusPanel final : public QWidget, public sigc::trackable {
public:
    /// reachability  why viewers cannot come in from the internet, or ""
    StatusPanel(Network& network, std::function<std::string()> reachability);

    void refreshAll();

private:
    void build();
    void refresh(const std::string& property);
    [[nodiscard]] std::string externalText() const;
    void refreshLamp();

    Network& network_;
    std::function<std::string()> reachability_;
    QLabel* lamp_ = nullptr;
    QLabel* networkStatus_ = nullptr;
    QLabel* bonjourStatus_ = nullptr;
    QLabel* ipAddr_ = nullptr;
    QLabel* externalIpPort_ = nullptr;
};

} // namespace ovelo
