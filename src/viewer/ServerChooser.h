#pragma once

#include "platform/ServiceBrowser.h"

#include <QDialog>

#include <functional>
#include <string>
#include <vector>

class QLabel;
class QLineEdit;
class QListWidget;
class QPushButton;

namespace ovelo {

/// Lets the user pick one of the servers that were found, or type another one's address.
class ServerChooser final : public QDialog {
public:
    struct Actions {
        std::function<void(const std::string& host, std::uint16_t port)> choose;
        std::function<void()> searchAgain;
    };

    ServerChooser(Actions actions, QWidget* parent);

    void showSearching();

    /// problem  why there are none, when there are none
    void showServers(const std::vector<FoundService>& servers, const QString& problem);

private:
    void build();
    void takeRow(int row);
    void refresh();
    void finish();

    Actions actions_;
    QLabel* heading_;
    QListWidget* list_;
    QLineEdit* address_;
    QPushButton* connect_;
    QPushButton* again_;
};

} // namespace ovelo
