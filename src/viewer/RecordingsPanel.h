#pragma once

#include "viewer/RecordingList.h"

#include <QWidget>

#include <functional>
#include <string>

class QLabel;
class QPushButton;
class QTreeWidget;

namespace ovelo {

/// The recordings of the server, the newest first, and what can be done with them.
///
/// thread  main
class RecordingsPanel final : public QWidget {
public:
    struct Actions {
        std::function<void(const std::string& name)> play;
        std::function<void()> backToLive;
        std::function<void()> refresh;
    };

    explicit RecordingsPanel(Actions actions, QWidget* parent = nullptr);

    /// Keeps the choice when it is still there.
    void showRecordings(const RecordingList& list);

    /// The server is another one, whose recordings are not known yet.
    void forget();

    /// name  of the recording that is played; empty: live pictures are shown
    void showPlaying(const std::string& name);

    /// Whether there is a server to ask.
    void setConnected(bool connected);

private:
    void build();
    void refresh();
    void refreshButtons();
    void playChosen();
    [[nodiscard]] std::string chosen() const;

    Actions actions_;
    QTreeWidget* list_;
    QLabel* state_;
    QPushButton* play_;
    QPushButton* live_;
    QPushButton* refresh_;
    bool connected_ = false;
    bool known_ = false;  // the server has told its list
    std::string playing_; // the name; empty: none
};

} // namespace ovelo
