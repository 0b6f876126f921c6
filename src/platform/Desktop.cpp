#include "platform/Desktop.h"

#include <QDesktopServices>
#include <QString>
#include <QUrl>

namespace ovelo::desktop {

bool openUrl(const std::string& url) {
    const QUrl address(QString::fromStdString(url), QUrl::StrictMode);
    // An address may come from the network: it must not open a file or start a program.
    const bool web =
        address.scheme() == QLatin1String("http") || address.scheme() == QLatin1String("https");
    return web && address.isValid() && !address.host().isEmpty() &&
           QDesktopServices::openUrl(address);
}

bool openFolder(const std::filesystem::path& folder) {
    return QDesktopServices::openUrl(QUrl::fromLocalFile(QString::fromStdString(folder.string())));
}

} // namespace ovelo::desktop
