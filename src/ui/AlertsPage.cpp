#include "ui/AlertsPage.h"

#include "platform/Settings.h"
#include "ui/Layouts.h"
#include "ui/MotionBar.h"
#include "ui/SettingCheckBox.h"
#include "ui/SettingComboBox.h"
#include "ui/SettingLineEdit.h"
#include "ui/Text.h"

#include <QFormLayout>
#include <QLabel>
#include <QLocale>
#include <QTimer>
#include <QVBoxLayout>

#include <optional>
#include <utility>

using namespace Qt::StringLiterals;

namespace ovelo {

namespace {

constexpr std::chrono::milliseconds kLook{500}; // four times as often as a picture is examined
constexpr int kLongestSpacing = 86400;          // seconds

QString percent(double part) {
    return QLocale().toString(part * 100, 'f', 1);
}

/// Whether it will do is found out when the command is run.
std::optional<QString> anythingGoes(const QString& /*text*/) {
    return std::nullopt;
}

std::optional<QString> refusalOfSpacing(const QString& text) {
    bool isNumber = false;
    const int seconds = text.toInt(&isNumber);
    if (text.isEmpty() || (isNumber && seconds >= 0 && seconds <= kLongestSpacing)) {
        return std::nullopt;
    }
    return u"That is a number of seconds, %1 (a day) at most; the former one is kept."_s.arg(
        kLongestSpacing);
}

QString sentenceFor(const MotionLevel& level) {
    if (!level.isWanted) {
        return u"Nobody watches for motion: choose above what shall be done."_s;
    }
    if (!level.isWatching) {
        return u"Nobody watches for motion, because no live pictures come."_s;
    }
    if (!level.ratio) {
        return u"The first picture has been looked at; the next one tells."_s;
    }
    const QString sentence =
        *level.ratio > level.threshold
            ? u"%1 % of the picture has changed: that is motion (more than %2 %)."_s
            : u"%1 % of the picture has changed; motion is more than %2 %."_s;
    return sentence.arg(percent(*level.ratio), percent(level.threshold));
}

} // namespace

AlertsPage::AlertsPage(Settings& settings, Level level)
    : settings_(settings)
    , level_(std::move(level))
    , timer_(new QTimer(this)) {
    auto* parts = new QVBoxLayout(this);
    parts->setSpacing(16);
    parts->addWidget(actionsPart());
    parts->addWidget(sensitivityPart());
    parts->addWidget(commandPart());
    parts->addStretch(1);
    connect(timer_, &QTimer::timeout, this, &AlertsPage::refresh);
    refresh();
}

AlertsPage::~AlertsPage() {
    command_->retire();
    spacing_->retire();
}

void AlertsPage::showEvent(QShowEvent* /*event*/) {
    refresh();
    timer_->start(kLook);
}

void AlertsPage::hideEvent(QHideEvent* /*event*/) {
    timer_->stop();
}

QWidget* AlertsPage::actionsPart() {
    auto* boxes = new QVBoxLayout;
    boxes->setSpacing(6);
    boxes->addWidget(new SettingCheckBox(
        settings_, "useMotionEmail", u"Send an e-mail with a pi&cture, every half hour at most"_s));
    boxes->addWidget(
        new SettingCheckBox(settings_, "useMotionRecord", u"&Record a movie of five minutes"_s));
    boxes->addWidget(new SettingCheckBox(settings_, "usePushNotification",
                                         u"Notify &your phones, every half hour at most"_s));
    boxes->addWidget(layouts::note(
        u"Each follows when something still moves about a minute after it was first seen, so that "
        "a bird does not wake you."_s));
    return layouts::section(u"When something moves"_s, boxes);
}

QWidget* AlertsPage::sensitivityPart() {
    auto* sensitivity = new SettingComboBox(settings_, "motionSense",
                                            {{"Low", u"Low (30 % of the picture)"_s},
                                             {"Medium", u"Medium (10 %)"_s},
                                             {"High", u"High (5 %)"_s}},
                                            "High");
    sensitivity->setAccessibleName(u"Sensitivity"_s);
    bar_ = new MotionBar;
    words_ = layouts::note();
    words_->setObjectName(u"motionWords"_s);
    auto* form = layouts::form();
    form->addRow(u"&Sensitivity:"_s, sensitivity);
    form->addRow(u"Now:"_s, bar_);
    form->addRow(QString(), words_);
    return layouts::section(u"What counts as motion"_s, form);
}

QWidget* AlertsPage::commandPart() {
    command_ = new SettingLineEdit(
        settings_, "alertCommand", anythingGoes,
        [this](const std::optional<QString>& refusal) { say(refusal.value_or(QString())); },
        SettingLineEdit::WhenEmpty::Remove);
    command_->setAccessibleName(u"Command to run on motion"_s);
    command_->setPlaceholderText(u"none"_s);
    spacing_ = spacingField();
    hint_ = layouts::note();
    hint_->setObjectName(u"commandHint"_s);
    hint_->hide();
    auto* form = layouts::form();
    form->addRow(u"Co&mmand:"_s, command_);
    form->addRow(u"At most e&very (s):"_s, spacing_);
    form->addRow(hint_);
    form->addRow(
        layouts::note(u"Runs at every motion at once, without a shell, with the picture on its "
                      "standard input."_s));
    return layouts::section(u"Run a program of your own"_s, form);
}

SettingLineEdit* AlertsPage::spacingField() {
    auto* field = new SettingLineEdit(
        settings_, "alertCommandSpacing", refusalOfSpacing,
        [this](const std::optional<QString>& refusal) { say(refusal.value_or(QString())); },
        SettingLineEdit::WhenEmpty::Remove);
    field->setAccessibleName(u"Seconds between two runs of the command"_s);
    field->setPlaceholderText(u"10"_s);
    return field;
}

void AlertsPage::say(const QString& text) {
    hint_->setText(text);
    hint_->setVisible(!text.isEmpty());
}

void AlertsPage::refresh() {
    const MotionLevel level = level_();
    bar_->setReading(level.ratio ? std::optional(MotionBar::Reading{*level.ratio, level.threshold})
                                 : std::nullopt);
    words_->setText(sentenceFor(level));
}

} // namespace ovelo
