#include "platform/PropertyList.h"

#include <QFile>
#include <QXmlStreamReader>

namespace ovelo {

namespace {

PropertyList readDictionary(QXmlStreamReader& xml) {
    PropertyList values;
    std::string key;
    while (xml.readNextStartElement()) {
        const bool isKey = xml.name() == u"key";
        const bool isText = xml.name() == u"string";
        const std::string text =
            xml.readElementText(QXmlStreamReader::IncludeChildElements).toStdString();
        if (isKey) {
            key = text;
        } else if (isText) {
            values[key] = text;
        }
    }
    return values;
}

} // namespace

std::optional<PropertyList> readPropertyList(const std::filesystem::path& path) {
    QFile file(QString::fromStdString(path.string()));
    if (!file.open(QIODevice::ReadOnly)) {
        return std::nullopt;
    }
    QXmlStreamReader xml(&file);
    const bool isDictionary = xml.readNextStartElement() && xml.name() == u"plist" &&
                              xml.readNextStartElement() && xml.name() == u"dict";
    if (!isDictionary) {
        return std::nullopt;
    }
    PropertyList values = readDictionary(xml);
    return xml.hasError() ? std::nullopt : std::optional(std::move(values));
}

} // namespace ovelo
