#include "platform/ChildProcess.h"

#include "platform/Utf8.h"

#include <QProcess>
#include <QProcessEnvironment>
#include <QString>
#include <QStringList>
#include <QTimer>

#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>

namespace ovelo {

namespace {

using namespace std::chrono_literals;

constexpr auto kGrace = 2s;          // from the request to end to the end
constexpr auto kKillPatience = 50ms; // a killed process is gone at once, unless the kernel holds it
constexpr std::size_t kErrorTail = 4096; // bytes of standard error that are kept
constexpr std::size_t kLongestLine = 200;

/// Between fork and exec, where only what signal handlers may call is allowed.
void prepareChild() {
    ::setpgid(0, 0);
    sigset_t none;
    ::sigemptyset(&none);
    ::sigprocmask(SIG_SETMASK, &none, nullptr);
    // Cameras, viewers and files are ours alone.
    ::close_range(STDERR_FILENO + 1, ~0U, CLOSE_RANGE_CLOEXEC);
}

/// For a log: without what would move a terminal's cursor, and not long.
std::string printable(std::string line) {
    const auto replace = [&line](auto&& isBad) {
        std::replace_if(line.begin(), line.end(), isBad, '?');
    };
    replace([](unsigned char c) { return c < 0x20 || c == 0x7f; });
    if (line.size() > kLongestLine) {
        line.resize(kLongestLine);
        for (int cut = 0; cut < 3 && !isUtf8(line); ++cut) {
            line.pop_back(); // a character that was cut in two
        }
    }
    if (!isUtf8(line)) {
        replace([](unsigned char c) { return c >= 0x80; });
    }
    return line;
}

std::string lastLineOf(const std::string& text) {
    const auto end = text.find_last_not_of(" \t\r\n");
    if (end == std::string::npos) {
        return {};
    }
    const auto before = text.find_last_of("\r\n", end);
    const auto begin = before == std::string::npos ? 0 : before + 1;
    return printable(text.substr(begin, end + 1 - begin));
}

class QtChildProcess final : public ChildProcess {
public:
    QtChildProcess(const Request& request, std::function<void(const Ending&)> ended)
        : limit_(request.limit)
        , ended_(std::move(ended)) {
        connectAll();
        configure(request);
        QStringList words = QProcess::splitCommand(QString::fromStdString(request.command));
        if (words.isEmpty()) {
            end("could not be started: no program is named");
            return;
        }
        const QString program = words.takeFirst();
        process_->start(program, words);
        feed(request.input);
        timer_.start(limit_);
    }

    ~QtChildProcess() override {
        process_->disconnect();
        if (process_->state() == QProcess::NotRunning) {
            return;
        }
        signal(SIGKILL);
        if (!process_->waitForFinished(static_cast<int>(kKillPatience.count()))) {
            // Its own destructor would wait for half a minute. What the kernel holds is left to it.
            static_cast<void>(process_.release());
        }
    }

    QtChildProcess(const QtChildProcess&) = delete;
    QtChildProcess& operator=(const QtChildProcess&) = delete;

    void terminate() override {
        if (process_->state() != QProcess::NotRunning) {
            isEnding_ = true;
            signal(SIGTERM);
        }
    }

    bool waitUntilEnded(std::chrono::milliseconds limit) override {
        return process_->state() == QProcess::NotRunning ||
               process_->waitForFinished(static_cast<int>(limit.count()));
    }

private:
    void connectAll() {
        QProcess* process = process_.get();
        QObject::connect(process, &QProcess::readyReadStandardError, [this] { keepErrors(); });
        QObject::connect(process, &QProcess::finished,
                         [this](int code, QProcess::ExitStatus status) { finished(code, status); });
        QObject::connect(process, &QProcess::errorOccurred, [this](QProcess::ProcessError error) {
            // Any other one is followed by finished(); that it does not read is its own affair.
            if (error == QProcess::FailedToStart) {
                end("could not be started: " + process_->errorString().toStdString());
            }
        });
        timer_.setSingleShot(true);
        QObject::connect(&timer_, &QTimer::timeout, [this] { timeIsOver(); });
    }

    void configure(const Request& request) {
        auto environment = QProcessEnvironment::systemEnvironment();
        for (const auto& [name, value] : request.environment) {
            environment.insert(QString::fromStdString(name), QString::fromStdString(value));
        }
        process_->setProcessEnvironment(environment);
        process_->setStandardOutputFile(QProcess::nullDevice());
        process_->setChildProcessModifier(&prepareChild);
    }

    void feed(const Data& input) {
        if (input && !input->empty()) {
            process_->write(reinterpret_cast<const char*>(input->data()),
                            static_cast<qint64>(input->size()));
        }
        process_->closeWriteChannel(); // when all is written
    }

    void keepErrors() {
        errors_ += process_->readAllStandardError().toStdString();
        if (errors_.size() > kErrorTail) {
            errors_.erase(0, errors_.size() - kErrorTail);
        }
    }

    void timeIsOver() {
        if (std::exchange(hasTimedOut_, true)) {
            signal(SIGKILL);
            return;
        }
        terminate();
        timer_.start(kGrace);
    }

    void finished(int code, QProcess::ExitStatus status) {
        keepErrors();
        if (isEnding_ && id_ > 0) { // 0 would be ourselves, and -1 everybody
            ::kill(-id_, SIGKILL);  // what it started and left behind
        }
        if (hasTimedOut_) {
            end(fmt::format("took longer than {} s",
                            std::chrono::duration_cast<std::chrono::seconds>(limit_).count()));
        } else if (status == QProcess::CrashExit) {
            end(fmt::format("was ended by signal {}", code));
        } else {
            end(code == 0 ? std::nullopt : std::optional(fmt::format("exit status {}", code)));
        }
    }

    void end(std::optional<std::string> failure) {
        timer_.stop();
        if (const auto ended = std::exchange(ended_, nullptr)) {
            ended({std::move(failure), lastLineOf(errors_)});
        }
    }

    void signal(int number) {
        id_ = static_cast<pid_t>(process_->processId());
        if (id_ > 0 && ::kill(-id_, number) != 0) {
            ::kill(id_, number); // it has not made its group yet
        }
    }

    const std::chrono::milliseconds limit_;
    std::function<void(const Ending&)> ended_;
    std::string errors_;
    bool isEnding_ = false;
    bool hasTimedOut_ = false;
    pid_t id_ = -1; // of the one that was signalled
    QTimer timer_;
    std::unique_ptr<QProcess> process_ = std::make_unique<QProcess>();
};

} // namespace

std::unique_ptr<ChildProcess> ChildProcess::start(const Request& request,
                                                  std::function<void(const Ending&)> ended) {
    return std::make_unique<QtChildProcess>(request, std::move(ended));
}

std::string ChildProcess::programOf(const std::string& command) {
    return QProcess::splitCommand(QString::fromStdString(command)).value(0).toStdString();
}

} // namespace ovelo
