#include "ui/StatusPanel.h"

#include "server/Network.h"
#include "ui/Layouts.h"
#include "ui/Text.h"

#include <QFormLayout>
#include <QHBoxLayout>
#include <QLabel>

#include <utility>

using namespace Qt::StringLiterals;

namespace ovelo {

namespace {

constexpr char16_t kLamp = u'\u25cf'; // a filled circle

constexpr QColor kListens(0x2f, 0xa3, 0x6b);
constexpr QColor kFailed(0xd6, 0x45, 0x45);

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

/// Service names and addresses are words that no line may hold: this lets them be broken at their
/// dots and underscores.
QString breakable(const QString& text) {
    constexpr int kLongWord = 24;
    QStringList words = text.split(u' ');
    for (QString& word : words) {
        if (word.size() > kLongWord) {
            word.replace(u"."_s, u".\u200b"_s).replace(u"_"_s, u"_\u200b"_s);
        }
    }
    return words.join(u' ');
}

void setStatus(QLabel& label, const std::string& text, const QString& whenEmpty) {
    label.setText(text.empty() ? whenEmpty : breakable(toQt(text).trimmed()));
    label.setForegroundRole(text.empty() ? QPalette::PlaceholderText : QPalette::WindowText);
}

} // namespace

StatusPanel::StatusPanel(Network& network, std::function<std::string()> reachability)
    : network_(network)
    , reachability_(std::move(reachability)) {
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

    lamp_ = new QLabel(QString(QChar(kLamp)));
    lamp_->setObjectName(u"serverLamp"_s);
    auto* form = layouts::form();
    form->setLabelAlignment(Qt::AlignLeft | Qt::AlignTop);
    auto* viewers = new QHBoxLayout;
    viewers->setSpacing(6);
    viewers->addWidget(lamp_, 0, Qt::AlignTop);
    viewers->addWidget(networkStatus_, 1);
    form->addRow(u"Viewers:"_s, viewers);
    form->addRow(u"Bonjour:"_s, bonjourStatus_);
    form->addRow(u"Local address:"_s, ipAddr_);
    form->addRow(u"External address:"_s, externalIpPort_);
    setLayout(form);
}

void StatusPanel::refresh(const std::string& /*property*/) {
    refreshAll();
}

void StatusPanel::refreshAll() {
    refreshLamp();
    setStatus(*networkStatus_, network_.networkStatus(), u"Not started"_s);
    setStatus(*bonjourStatus_, network_.bonjourStatus(), u"Not announced"_s);
    setStatus(*ipAddr_, network_.ipAddr(), u"Not known"_s);
    setStatus(*externalIpPort_, externalText(), u"Not known"_s);
}

/// The address, and what is wrong with it or when there is none.
std::string StatusPanel::externalText() const {
    const std::string address = network_.externalIpPort();
    const std::string trouble = reachability_();
    return address.empty() || trouble.empty() ? address + trouble : address + "\n" + trouble;
}

void StatusPanel::refreshLamp() {
    QPalette colors = palette();
    QColor color = colors.color(QPalette::PlaceholderText);
    if (!network_.networkStatus().empty()) {
        color = network_.port() != 0 ? kListens : kFailed;
    }
    colors.setColor(QPalette::WindowText, color);
    lamp_->setPalette(colors);
}

} // namespace ovelo
