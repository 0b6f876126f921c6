#include "ui/AutoConfigPanel.h"

#include "app/MyDocument.h"
#include "ui/Layouts.h"

#include <QDialogButtonBox>
#include <QLabel>
#include <QPushButton>
#include <QVBoxLayout>

using namespace Qt::StringLiterals;

namespace ovelo {

AutoConfigPanel::AutoConfigPanel(MyDocument& document, QWidget* window) : QDialog(window) {
    setObjectName(u"autoConfigPanel"_s);
    setWindowTitle(u"Automatic Router Configuration"_s);
    auto* buttons = new QDialogButtonBox;
    QPushButton* start = buttons->addButton(u"&Start"_s, QDialogButtonBox::ActionRole);
    start->setObjectName(u"startAutoConfig"_s);
    connect(start, &QPushButton::clicked, this, [&document] { document.startNatoAutoConfig(); });
    QPushButton* close = buttons->addButton(QDialogButtonBox::Close);
    close->setDefault(true);
    connect(buttons, &QDialogButtonBox::rejected, this,
            [&document] { document.closeNatAutoPanel(); });

    auto* column = new QVBoxLayout(this);
    column->setContentsMargins(20, 16, 20, 16);
    column->setSpacing(12);
    column->addLayout(layouts::banner(
        u"Watch from outside your home"_s,
        u"To let viewers in from the internet, the router has to pass the viewers' port on to this "
        "computer. Ovelo can ask the router to do so."_s));
    column->addWidget(layouts::note(
        u"It does so by itself, too, every few minutes; what it found out is in the main window."_s));
    column->addWidget(buttons);
    layouts::plainButtons(*this);
    column->setSizeConstraint(QLayout::SetFixedSize);
}

} // namespace ovelo
