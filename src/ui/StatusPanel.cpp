#include "ui/StatusPanel.h"

#include "server/Network.h"
#include "ui/Layouts.h"
#include "ui/Text.h"

#include <QFormLayout>
#include <QLabel>

using namespace Qt::StringLiterals;

namespace ovelo {

namespace {

QLabel* statusLabel(const QString& objectName, const QString& accessibleName) {
    auto* label = new QLabel;
    label->setObjectName(objectName);
    label->setAccessibleName(accessibleName);
    label->setWordWrap(true);
    label->setTextFormat(Qt::PlainText);
    label->setTextInteractionFlags(Qt::TextSelectableByMouse);
    label->setAlignment(Qt::AlignLeft | Qt::AlignTop);
    return label;
}

void setStatus(QLabel& label, const std::string& text, const QString& whenEmpty) {
    label.setText(text.empty() ? whenEmpty : toQt(text).trimmed());
    label.setForegroundRole(text.empty() ? QPalette::PlaceholderText : QPalette::WindowText);
}

} // namespace

StatusPanel::StatusPanel(Network& network) : network_(network) {
    build();
    network_.propertyChanged().connect(sigc::mem_fun(*this, &StatusPanel::refresh));
    refreshAll();
}

void StatusPanel::build() {
    networkStatus_ = statusLabel(u"networkStatus"_s, u"Viewer server"_s);
    bonjourStatus_ = statusLabel(u"bonjourStatus"_s, u"Announcement on the local network"_s);
    bonjourStatus_->setToolTip(
        u"Viewers on the same network find this computer by its Bonjour announcement."_s);
    ipAddr_ = statusLabel(u"ipAddr"_s, u"Local address"_s);
    externalIpPort_ = statusLabel(u"externalIpPort"_s, u"External address"_s);

    auto* form = layouts::form();
    form->addRow(u"Viewers:"_s, networkStatus_);
    form->addRow(u"Bonjour:"_s, bonjourStatus_);
    form->addRow(u"Local address:"_s, ipAddr_);
    form->addRow(u"External address:"_s, externalIpPort_);
    setLayout(form);
}

void StatusPanel::refresh(const std::string& /*property*/) {
    refreshAll();
}

void StatusPanel::refreshAll() {
    setStatus(*networkStatus_, network_.networkStatus(), u"Not started"_s);
    setStatus(*bonjourStatus_, network_.bonjourStatus(), u"Not announced"_s);
    setStatus(*ipAddr_, network_.ipAddr(), u"Not known"_s);
    setStatus(*externalIpPort_, network_.externalIpPort(), u"Not known"_s);
}

} // namespace ovelo
