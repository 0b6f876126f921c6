#pragma once

#include <QByteArray>
#include <QIODevice>

#include <algorithm>
#include <cstring>

namespace ovelo {

/// A request's body that can be sent only once.
///
/// Qt sends a request again when its connection ends without a reply, though the server may have
/// acted on it. With a body that cannot be read again it reports the failure instead.
class QtHttpBody final : public QIODevice {
public:
    explicit QtHttpBody(QByteArray bytes) : bytes_(std::move(bytes)) { open(QIODevice::ReadOnly); }

    [[nodiscard]] bool isSequential() const override { return true; }
    [[nodiscard]] qint64 bytesAvailable() const override {
        return bytes_.size() - sent_ + QIODevice::bytesAvailable();
    }
    bool reset() override { return false; }
    [[nodiscard]] bool atEnd() const override { return bytesAvailable() == 0; }

protected:
    qint64 readData(char* target, qint64 room) override {
        const qint64 size = std::min<qint64>(room, bytes_.size() - sent_);
        if (size == 0) {
            return -1;
        }
        std::memcpy(target, bytes_.constData() + sent_, static_cast<std::size_t>(size));
        sent_ += size;
        return size;
    }
    qint64 writeData(const char* /*bytes*/, qint64 /*size*/) override { return -1; }

private:
    const QByteArray bytes_;
    qint64 sent_ = 0;
};

} // namespace ovelo
