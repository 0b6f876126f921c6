#pragma once

#include <QWidget>

#include <sigc++/sigc++.h>

#include <string>

class QLabel;

namespace ovelo {

class Network;

/// What the viewer server says about itself: its state, its announcement and its two addresses.
///
/// thread  main
class StatusPanel final : public QWidget, public sigc::trackable {
public:
    explicit StatusPanel(Network& network);

private:
    void build();
    void refresh(const std::string& property);
    void refreshAll();
    void refreshLamp();

    Network& network_;
    QLabel* lamp_ = nullptr;
    QLabel* networkStatus_ = nullptr;
    QLabel* bonjourStatus_ = nullptr;
    QLabel* ipAddr_ = nullptr;
    QLabel* externalIpPort_ = nullptr;
};

} // namespace ovelo
