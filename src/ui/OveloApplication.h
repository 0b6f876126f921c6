#pragma once

#include "app/MyDocument.h"
#include "platform/QtMainLoop.h"

#include <QApplication>

#include <memory>

namespace ovelo {

class MainWindow;
class ModalPrompt;
class Services;
class TerminationSignals;

/// The program: makes the document, its window and what they need, and takes them through their
/// life.
///
/// thread  main
class OveloApplication {
public:
    /// argc  must live as long as this object, as QApplication asks
    OveloApplication(int& argc, char** argv, TerminationSignals& signals);
    ~OveloApplication();
    OveloApplication(const OveloApplication&) = delete;
    OveloApplication& operator=(const OveloApplication&) = delete;

    /// Runs until the user or a signal ends it. return: the exit status.
    int run();

private:
    enum class Phase { Waiting, Starting, Running, Ended };

    void makePrompt(bool onScreen);
    void makeDocument();
    void makeWindow(bool onScreen);
    void start();
    void askToEnd();
    void end();

    QApplication application_;
    QtMainLoop mainLoop_;
    TerminationSignals& signals_;
    std::unique_ptr<Services> services_;
    std::unique_ptr<ModalPrompt> prompt_;
    std::unique_ptr<MyDocument> document_;
    std::unique_ptr<MainWindow> window_;
    Phase phase_ = Phase::Waiting;
    bool askedToEnd_ = false;
};

} // namespace ovelo
