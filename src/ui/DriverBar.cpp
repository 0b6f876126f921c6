#include "ui/DriverBar.h"

#include "support/DriverSetting.h"
#include "ui/Text.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>

using namespace Qt::StringLiterals;

namespace ovelo {

DriverBar::DriverBar(DriverSetting& setting) : setting_(setting) {
    status_ = new QLabel;
    status_->setObjectName(u"driverStatus"_s);
    button_ = new QPushButton;
    button_->setObjectName(u"driverButton"_s);
    button_->setAutoDefault(false);
    connect(button_, &QPushButton::clicked, this, [this] { setting_.videoDriverAction(); });
    auto* row = new QHBoxLayout(this);
    row->setContentsMargins(0, 0, 0, 0);
    row->addWidget(status_, 1);
    row->addWidget(button_);
    setting_.changed().connect(sigc::mem_fun(*this, &DriverBar::refresh));
    refresh();
}

void DriverBar::refresh() {
    status_->setText(toQt(setting_.videoDriverStatusText()));
    button_->setText(toQt(setting_.videoDriverButtonText()));
    button_->setEnabled(!setting_.isBusy());
}

} // namespace ovelo
