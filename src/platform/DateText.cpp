#include "platform/DateText.h"

#include <QDateTime>
#include <QLocale>
#include <QString>

#include <cstdlib>
#include <mutex>

namespace ovelo::datetext {

namespace {

enum class Style { Short, Medium };

std::string localeName() {
    for (const char* variable : {"LC_ALL", "LC_TIME", "LANG"}) {
        const char* name = std::getenv(variable);
        if (name != nullptr && *name != '\0') {
            return name;
        }
    }
    return "C";
}

QString plainText(const QDateTime& moment, Style style) {
    const auto format = style == Style::Short ? QStringLiteral("yyyy-MM-dd HH:mm")
                                              : QStringLiteral("yyyy-MM-dd HH:mm:ss");
    return QLocale::c().toString(moment, format);
}

/// Qt knows a short and a long style; the medium one is the short date with the seconds of the
/// time.
QString localeText(const QLocale& locale, const QDateTime& moment, Style style) {
    if (style == Style::Short) {
        return locale.toString(moment, QLocale::ShortFormat);
    }
    QString time = locale.timeFormat(QLocale::ShortFormat);
    if (!time.contains(QLatin1String("ss"))) {
        time.replace(QLatin1String("mm"), QLatin1String("mm:ss"));
    }
    return locale.toString(moment.date(), QLocale::ShortFormat) + QLatin1Char(' ') +
           locale.toString(moment.time(), time);
}

std::string format(const std::string& name, std::time_t moment, Style style) {
    const QLocale locale(QString::fromStdString(name));
    const QDateTime local = QDateTime::fromSecsSinceEpoch(moment);
    const bool plain = locale.language() == QLocale::C || locale.language() == QLocale::AnyLanguage;
    return (plain ? plainText(local, style) : localeText(locale, local, style)).toStdString();
}

/// Keeps the text of the last moment.
class Cache {
public:
    explicit Cache(Style style) : style_(style) {}

    std::string text(std::time_t moment) {
        std::string name = localeName();
        const std::lock_guard lock(lock_);
        if (text_.empty() || moment != moment_ || name != localeName_) {
            text_ = format(name, moment, style_);
            moment_ = moment;
            localeName_ = std::move(name);
        }
        return text_;
    }

private:
    const Style style_;
    std::mutex lock_; // a leaf
    std::string text_;
    std::time_t moment_ = 0;
    std::string localeName_;
};

} // namespace

std::string shortStyle(std::time_t moment) {
    static Cache cache(Style::Short);
    return cache.text(moment);
}

std::string mediumStyle(std::time_t moment) {
    static Cache cache(Style::Medium);
    return cache.text(moment);
}

} // namespace ovelo::datetext
