#include "viewer/ControlBar.h"

#include <QComboBox>
#include <QGridLayout>
#include <QLabel>
#include <QSignalBlocker>
#include <QSlider>

#include <algorithm>
#include <cmath>
#include <utility>

namespace ovelo {

namespace {

constexpr int kStepsPerSecond = 4; // of the delay
constexpr int kLongestDelay = 4;   // seconds; more only when more is given
constexpr int kSlowest = 5;        // pictures a second
constexpr int kFastest = 20;
constexpr int kUsual = 14; // what servers begin with

int steps(double delay) {
    return static_cast<int>(std::lround(delay * kStepsPerSecond));
}

QString describeDelay(int steps) {
    if (steps == 0) {
        return QStringLiteral("none");
    }
    return QStringLiteral("%1 s").arg(static_cast<double>(steps) / kStepsPerSecond, 0, 'f', 2);
}

QString describeRate(int rate) {
    return QStringLiteral("%1/s").arg(rate);
}

constexpr int kColumnsOfControl = 3;

/// Shows what is there and marks the selected one.
void fill(QComboBox& box, const std::vector<DataSource>& sources) {
    const QSignalBlocker quiet(&box);
    box.clear();
    int current = -1;
    for (const DataSource& source : sources) {
        box.addItem(QString::fromStdString(source.name));
        if (source.selected) {
            current = box.count() - 1;
        }
    }
    box.setCurrentIndex(current);
    box.setEnabled(!sources.empty());
}

} // namespace

ControlBar::ControlBar(double delay, std::optional<double> frameRate, Actions actions,
                       QWidget* parent)
    : QWidget(parent)
    , actions_(std::move(actions)) {
    auto* grid = new QGridLayout(this);
    grid->setColumnStretch(1, 1);
    grid->setColumnStretch(1 + kColumnsOfControl, 1);
    cameras_ = addChooser(QStringLiteral("&Camera"),
                          QStringLiteral("The camera that every viewer of this server sees"), 0,
                          actions_.chooseCamera);
    microphones_ =
        addChooser(QStringLiteral("&Microphone"),
                   QStringLiteral("The microphone that every viewer of this server hears"),
                   kColumnsOfControl, actions_.chooseMicrophone);
    delay_ = addSlider(
        QStringLiteral("&Delay"),
        QStringLiteral("How long the server holds pictures back; about 3 s bring them in step with "
                       "the sound"),
        0, std::max(kLongestDelay * kStepsPerSecond, steps(delay)), steps(delay), &describeDelay,
        [this](int steps) { actions_.setDelay(static_cast<double>(steps) / kStepsPerSecond); }, 0);
    addSlider(
        QStringLiteral("R&ate"),
        QStringLiteral("Pictures a second; the server follows the viewer that came first"),
        kSlowest, kFastest, static_cast<int>(std::lround(frameRate.value_or(kUsual))),
        &describeRate, [this](int rate) { actions_.setFrameRate(rate); }, kColumnsOfControl);
}

QComboBox* ControlBar::addChooser(const QString& name, const QString& toolTip, int column,
                                  const std::function<void(const std::string&)>& chosen) {
    auto* label = new QLabel(name, this);
    auto* box = new QComboBox(this);
    label->setBuddy(box);
    box->setEnabled(false);
    box->setSizeAdjustPolicy(QComboBox::AdjustToMinimumContentsLengthWithIcon);
    box->setObjectName(QString(name).remove(QLatin1Char('&')).toLower());
    box->setAccessibleName(QString(name).remove(QLatin1Char('&')));
    box->setToolTip(toolTip);
    auto* grid = static_cast<QGridLayout*>(layout());
    grid->addWidget(label, 0, column);
    grid->addWidget(box, 0, column + 1, 1, 2);
    connect(box, &QComboBox::activated, this,
            [box, chosen](int index) { chosen(box->itemText(index).toStdString()); });
    return box;
}

QSlider* ControlBar::addSlider(const QString& name, const QString& toolTip, int lowest, int highest,
                               int value, const std::function<QString(int)>& describe,
                               const std::function<void(int)>& changed, int column) {
    auto* label = new QLabel(name, this);
    auto* slider = new QSlider(Qt::Horizontal, this);
    auto* text = new QLabel(describe(value), this);
    slider->setRange(lowest, highest);
    slider->setPageStep(std::max(1, (highest - lowest) / 4));
    slider->setValue(value);
    slider->setObjectName(QString(name).remove(QLatin1Char('&')).toLower());
    slider->setAccessibleName(QString(name).remove(QLatin1Char('&')));
    slider->setToolTip(toolTip);
    label->setBuddy(slider);
    // As wide as the longest text, so that the slider does not jump under the pointer.
    text->setMinimumWidth(text->fontMetrics().horizontalAdvance(QStringLiteral("00.00 s")));
    connect(slider, &QSlider::valueChanged, this, [text, describe, changed](int now) {
        text->setText(describe(now));
        changed(now);
    });
    auto* grid = static_cast<QGridLayout*>(layout());
    grid->addWidget(label, 1, column);
    grid->addWidget(slider, 1, column + 1);
    grid->addWidget(text, 1, column + 2);
    return slider;
}

void ControlBar::setDelay(double seconds) {
    const int wanted = static_cast<int>(std::ceil(seconds * kStepsPerSecond));
    delay_->setMaximum(std::max(delay_->maximum(), wanted));
    delay_->setValue(wanted);
}

void ControlBar::showSources(const DataSourceList& list) {
    fill(*cameras_, list.video);
    fill(*microphones_, list.audio);
}

} // namespace ovelo
