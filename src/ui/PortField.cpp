#include "ui/PortField.h"

#include "platform/Settings.h"
#include "ui/Layouts.h"
#include "ui/SettingLineEdit.h"
#include "ui/Text.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QRegularExpressionValidator>
#include <QVBoxLayout>

#include <optional>
#include <utility>

using namespace Qt::StringLiterals;

namespace ovelo {

namespace {

constexpr int kHighestPort = 65535;

std::optional<QString> refusalOf(const QString& text) {
    const int port = text.toInt();
    if (port < 1 || port > kHighestPort) {
        return u"A port is a number from 1 to 65535."_s;
    }
    return std::nullopt;
}

} // namespace

PortField::PortField(Settings& settings, std::function<std::uint16_t()> usedPort,
                     std::function<void()> chooseDefault)
    : settings_(settings)
    , usedPort_(std::move(usedPort)) {
    auto* edit = new SettingLineEdit(
        settings, "port", refusalOf,
        [this](const std::optional<QString>& refusal) { refusal ? say(*refusal) : refresh(); });
    // Anything up to five digits may be typed; whether it is a port is said when the field is left.
    edit->setValidator(new QRegularExpressionValidator(QRegularExpression(u"[0-9]{0,5}"_s), edit));
    edit->setAccessibleName(u"Port for viewers"_s);
    edit_ = edit;

    auto* defaultButton = new QPushButton(u"&Default"_s);
    defaultButton->setObjectName(u"defaultPort"_s);
    defaultButton->setToolTip(u"Go back to port 1726"_s);
    connect(defaultButton, &QPushButton::clicked, this,
            [chooseDefault = std::move(chooseDefault)] { chooseDefault(); });
    hint_ = layouts::note();
    hint_->setObjectName(u"portHint"_s);

    auto* row = new QHBoxLayout;
    row->addWidget(edit_, 1);
    row->addWidget(defaultButton);
    auto* column = new QVBoxLayout(this);
    column->setContentsMargins(0, 0, 0, 0);
    column->setSpacing(4);
    column->addLayout(row);
    column->addWidget(hint_);
    settings_.changed().connect(sigc::mem_fun(*this, &PortField::refresh));
    refresh();
}

PortField::~PortField() {
    edit_->retire();
}

QWidget* PortField::editor() const {
    return edit_;
}

void PortField::refresh() {
    const int stored = settings_.integer("port");
    const int used = usedPort_();
    if (used == 0 || stored == used) {
        say(u"A change takes effect at the next start."_s);
    } else {
        say(u"Port %1 takes effect at the next start; until then it is %2."_s.arg(stored).arg(
            used));
    }
}

void PortField::say(const QString& text) {
    hint_->setText(text);
}

} // namespace ovelo
