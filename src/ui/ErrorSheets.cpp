#include "ui/ErrorSheets.h"

#include "ui/Display.h"
#include "ui/Layouts.h"
#include "ui/Text.h"

#include <QMessageBox>
#include <QTimer>
#include <QWidget>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace ovelo {

namespace {

constexpr std::size_t kMostErrors = 8;

} // namespace

void ErrorSheets::present(const std::string& message, const std::string& informativeText) {
    if (!onScreen_) {
        display::printAlert(message, informativeText);
        return;
    }
    const Error error(message, informativeText);
    const bool waits = std::find(errors_.begin(), errors_.end(), error) != errors_.end();
    if (waits || errors_.size() >= kMostErrors) {
        return;
    }
    errors_.push_back(error);
    if (errors_.size() == 1) {
        // Later: the window that it belongs on may be about to be shown.
        QTimer::singleShot(0, &window_, [this] { showNext(); });
    }
}

void ErrorSheets::showNext() {
    const auto& [message, informativeText] = errors_.front();
    auto* sheet =
        new QMessageBox(QMessageBox::Warning, u"Ovelo"_s, toQt(message), QMessageBox::Ok, &window_);
    sheet->setObjectName(u"errorSheet"_s);
    sheet->setTextFormat(Qt::PlainText);
    sheet->setInformativeText(toQt(informativeText));
    sheet->setAttribute(Qt::WA_DeleteOnClose);
    QObject::connect(sheet, &QMessageBox::finished, &window_, [this] {
        errors_.pop_front();
        if (!errors_.empty()) {
            showNext();
        }
    });
    layouts::plainButtons(*sheet);
    sheet->open();
}

} // namespace ovelo
