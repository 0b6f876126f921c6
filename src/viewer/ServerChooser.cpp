#include "viewer/ServerChooser.h"

#include "viewer/ViewerArguments.h"

#include <QDialogButtonBox>
#include <QFormLayout>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QPushButton>
#include <QVBoxLayout>

#include <utility>

namespace ovelo {

namespace {

QString addressText(const FoundService& server) {
    return QStringLiteral("%1:%2").arg(QString::fromStdString(server.host)).arg(server.port);
}

} // namespace

ServerChooser::ServerChooser(Actions actions, QWidget* parent)
    : QDialog(parent)
    , actions_(std::move(actions))
    , heading_(new QLabel(this))
    , list_(new QListWidget(this))
    , address_(new QLineEdit(this))
    , connect_(new QPushButton(QStringLiteral("&Connect"), this))
    , again_(new QPushButton(QStringLiteral("&Search again"), this)) {
    setWindowTitle(QStringLiteral("Choose a server"));
    build();
    connect(list_, &QListWidget::currentRowChanged, this, [this](int row) { takeRow(row); });
    connect(list_, &QListWidget::itemActivated, this, [this] { finish(); });
    connect(address_, &QLineEdit::textChanged, this, [this] { refresh(); });
    connect(again_, &QPushButton::clicked, this, [this] { actions_.searchAgain(); });
    refresh();
}

void ServerChooser::build() {
    heading_->setWordWrap(true);
    list_->setAccessibleName(QStringLiteral("Servers"));
    address_->setPlaceholderText(QStringLiteral("host or host:port"));
    connect_->setDefault(true);
    again_->setAutoDefault(false);
    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Cancel, this);
    buttons->addButton(connect_, QDialogButtonBox::AcceptRole);
    buttons->addButton(again_, QDialogButtonBox::ActionRole);
    connect(buttons, &QDialogButtonBox::accepted, this, [this] { finish(); });
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
    auto* form = new QFormLayout;
    form->addRow(QStringLiteral("&Address"), address_);
    auto* column = new QVBoxLayout(this);
    column->addWidget(heading_);
    column->addWidget(list_);
    column->addLayout(form);
    column->addWidget(buttons);
}

void ServerChooser::showSearching() {
    heading_->setText(QStringLiteral("Looking for servers on the local network…"));
    list_->clear();
    list_->setEnabled(false);
    again_->setEnabled(false);
}

void ServerChooser::showServers(const std::vector<FoundService>& servers, const QString& problem) {
    heading_->setText(servers.empty() ? problem : QStringLiteral("Servers on the local network:"));
    list_->clear();
    for (const FoundService& server : servers) {
        auto* item =
            new QListWidgetItem(QStringLiteral("%1  (%2)")
                                    .arg(addressText(server), QString::fromStdString(server.name)),
                                list_);
        item->setData(Qt::UserRole, addressText(server));
    }
    list_->setEnabled(!servers.empty());
    again_->setEnabled(true);
    if (!servers.empty()) {
        list_->setCurrentRow(0);
    }
}

void ServerChooser::takeRow(int row) {
    if (const QListWidgetItem* item = list_->item(row)) {
        address_->setText(item->data(Qt::UserRole).toString());
    }
}

void ServerChooser::refresh() {
    std::string host;
    std::uint16_t port = 0;
    connect_->setEnabled(parseAddress(address_->text().trimmed().toStdString(), host, port));
}

void ServerChooser::finish() {
    std::string host;
    std::uint16_t port = 0;
    if (parseAddress(address_->text().trimmed().toStdString(), host, port)) {
        accept();
        actions_.choose(host, port);
    }
}

} // namespace ovelo
