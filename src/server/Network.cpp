#include "server/Network.h"

#include "nat/NATBuster.h"
#include "nat/UdpStream.h"
#include "platform/HostAddresses.h"
#include "platform/MainThread.h"
#include "platform/Numbers.h"
#include "platform/Settings.h"
#include "platform/Threads.h"
#include "server/AccountPrompt.h"
#include "server/NetworkInstance.h"
#include "server/Socket.h"
#include "server/SocketException.h"
#include "support/Logger.h"
#include "support/MyUtil.h"

#include <fmt/format.h>

#include <algorithm>

namespace ovelo {

namespace {

constexpr std::uint16_t kDefaultPort = 1726;
constexpr const char* kServiceType = "_lumenwatch._tcp";
constexpr auto kPatience = std::chrono::milliseconds(1500); // with threads at the end

std::uint16_t configuredPort(const Settings& settings) {
    const auto text = settings.string("port");
    return text ? static_cast<std::uint16_t>(numbers::leadingInteger(*text)) : kDefaultPort;
}

int configuredBacklog(const Settings& settings) {
    const int backlog = settings.integer("listenBacklog");
    return backlog > 0 ? backlog : AbstractSocket::kPendingConnections;
}

bool hasEmail(const Settings& settings) {
    return MyUtil::isAccountEmail(settings.string("email").value_or(""));
}

} // namespace

Network::Network(Environment environment) : environment_(std::move(environment)) {
    const Internet& internet = environment_.internet;
    if (internet.natBuster) {
        udpServer_ = std::make_unique<UdpServer>(UdpServer::Environment{
            internet.natBuster, environment_.settings, environment_.log, environment_.clock,
            [this](std::shared_ptr<UdpStream> stream) { serveUdp(std::move(stream)); },
            internet.udpPort, internet.pauses});
    }
    if (internet.registerTcpPort) {
        tcpRegThread_.start([this](const std::stop_token& stop) { tcpRegThread(stop); });
    }
}

Network::~Network() {
    stopServer();
}

void Network::startServer(ViewerDocument& document) {
    parentDocoument_ = &document;
    while (!hasEmail(environment_.settings)) {
        if (!environment_.prompt.runModal(*this)) {
            return;
        }
    }
    setNetworkStatus("Starting listener... ");
    if (!listen()) {
        setNetworkStatus("Server failed to start.");
        return;
    }
    setNetworkStatus("Waiting for connection...");
    setIPAddr(fmt::format("{}:{}", localAddress(), port_));
    if (!announceService()) {
        return;
    }
    tcpServerThread_ = std::jthread([this](const std::stop_token& stop) { tcpServerThread(stop); });
    if (udpServer_) {
        udpServer_->start();
    }
}

bool Network::listen() {
    try {
        listnerSocket_ = Socket::socket(environment_.log);
        listnerSocket_->listenOnPort(configuredPort(environment_.settings),
                                     configuredBacklog(environment_.settings));
        port_ = listnerSocket_->localPort();
        return true;
    } catch (const SocketException& failure) {
        environment_.log.write(
            fmt::format("startServer() exception: {}: {}\n", failure.name(), failure.reason()));
        listnerSocket_.reset();
        return false;
    }
}

/// return  false when nothing can be announced on this computer
bool Network::announceService() {
    const auto now = environment_.clock.timeOfDay().seconds;
    service_ = environment_.publisher({"", kServiceType, fmt::format("_lumenwatch_{}", now), port_},
                                      *this);
    if (!service_) {
        setBonjourStatus("Bonjour service failed to initialize.");
        return false;
    }
    service_->publish();
    return true;
}

void Network::stopServer() {
    if (tcpServerThread_.joinable()) {
        tcpServerThread_.request_stop();
        environment_.log.write("TCP: Stopping server");
        listnerSocket_->close(); // wakes the thread, which never waits for anybody else
        tcpServerThread_.join();
    }
    if (udpServer_ && udpServer_->isStarted()) {
        environment_.log.write("UDP: Stopping server");
        udpServer_->requestStop();
    }
    tcpRegThread_.requestStop();
    listnerSocket_.reset();
    port_ = 0;
    if (service_) {
        service_->stop();
        service_.reset();
    }
    endSessions();
}

void Network::endSessions() {
    {
        const MutexLock lock(registryLock_);
        for (const auto& session : instances_) {
            session->cancel();
        }
    }
    // They all may want the main thread before they end.
    if (MainThread::isCurrent()) {
        MainThread::serveUntil([this] { return !isAnythingRunning(); }, kPatience);
    }
    if (udpServer_) {
        udpServer_->finish({});
    }
    tcpRegThread_.finish({});
}

bool Network::isAnythingRunning() const {
    return sessionThreads_.running() != 0 || !tcpRegThread_.hasEnded() ||
           (udpServer_ && !udpServer_->hasEnded());
}

void Network::tcpRegThread(const std::stop_token& stop) {
    settleThread("tcp-register");
    while (!stop.stop_requested()) {
        try {
            MainThread::performAndWait(environment_.internet.registerTcpPort);
        } catch (const std::exception& failure) {
            environment_.log.write(fmt::format("tcpRegThread() exception: {}\n", failure.what()));
        }
        const MutexLock lock(pauseLock_);
        stopped_.wait_for(pauseLock_, stop, kTcpRegistrationPeriod, [] { return false; });
    }
}

/// Runs a session on the UDP thread until the viewer is gone.
void Network::serveUdp(std::shared_ptr<UdpStream> stream) {
    const auto session = std::make_shared<NetworkInstance>(NetworkInstance::Environment{
        *parentDocoument_, *this, environment_.settings, environment_.log, environment_.clock,
        environment_.internet.udpSilence});
    {
        const MutexLock lock(registryLock_);
        forgetOldSessionsLocked();
        instances_.push_back(session);
    }
    session->startUdpConnection(std::move(stream));
}

/// Kept: a UDP session that is over stays in the registry, where it paces the others as long as it
/// is the first. But a server that runs for years must not fill up with them.
void Network::forgetOldSessionsLocked() {
    const auto isOver = [](const auto& session) { return session->isOver(); };
    const auto over = std::count_if(instances_.begin(), instances_.end(), isOver);
    if (static_cast<std::size_t>(over) >= kMostSessionsOver) {
        instances_.erase(std::find_if(instances_.begin(), instances_.end(), isOver));
    }
}

void Network::tcpServerThread(const std::stop_token& stop) {
    settleThread("viewer-accept");
    while (!stop.stop_requested()) {
        try {
            accept(listnerSocket_->acceptConnectionAndKeepListening());
        } catch (const std::exception& failure) {
            if (stop.stop_requested()) {
                return;
            }
            // Too many descriptors or threads, mostly: others go on, and so does this one after a
            // while.
            constexpr auto kPause = std::chrono::milliseconds(100);
            environment_.log.write(
                fmt::format("tcpServerThread() exception: {}\n", failure.what()));
            std::this_thread::sleep_for(kPause);
        }
    }
}

void Network::accept(std::unique_ptr<Socket> client) {
    client->prepareForViewer();
    const auto session = std::make_shared<NetworkInstance>(NetworkInstance::Environment{
        *parentDocoument_, *this, environment_.settings, environment_.log, environment_.clock});
    {
        const MutexLock lock(registryLock_);
        instances_.push_back(session);
    }
    try {
        sessionThreads_.start([session, socket = std::shared_ptr<Socket>(std::move(client))] {
            session->startTcpConnection(socket);
        });
    } catch (...) {
        networkInstanceExitSel(*session);
        throw;
    }
}

void Network::networkInstanceExitSel(NetworkInstance& session) {
    std::shared_ptr<NetworkInstance> released; // ends without the lock
    const MutexLock lock(registryLock_);
    const auto found = std::find_if(instances_.begin(), instances_.end(),
                                    [&](const auto& other) { return other.get() == &session; });
    if (found != instances_.end()) {
        released = std::move(*found);
        instances_.erase(found);
    }
}

void Network::sendImageData(const Data& data) {
    const MutexLock lock(registryLock_);
    for (const auto& session : instances_) {
        session->sendImageData(data);
    }
}

void Network::sendAudioData(const Data& data) {
    const MutexLock lock(registryLock_);
    for (const auto& session : instances_) {
        session->sendAudioData(data);
    }
}

void Network::sendText(const std::string& text) {
    const MutexLock lock(registryLock_);
    for (const auto& session : instances_) {
        session->sendText(text);
    }
}

bool Network::hasClient() const {
    const MutexLock lock(registryLock_);
    return std::any_of(instances_.begin(), instances_.end(), [](const auto& session) {
        return session->tcpAuthenticated() || session->udpAuthenticated();
    });
}

bool Network::shouldSkipFrame() {
    const MutexLock lock(registryLock_);
    return instances_.empty() || instances_.front()->shouldSkipFrame();
}

std::size_t Network::sessionCount() const {
    const MutexLock lock(registryLock_);
    return instances_.size();
}

bool Network::setButtonPressed(const std::string& email, const std::string& password) {
    environment_.settings.setString("email", email);
    environment_.settings.setString("password", password);
    if (MyUtil::valideEmailAddress(email) && !password.empty()) {
        return true;
    }
    environment_.prompt.showAlert("Access Information Error",
                                  "Please enter a valid E-Mail address and a password.");
    return false;
}

void Network::setStatus(std::string& status, const std::string& text, const char* key,
                        const char* label) {
    status = text;
    environment_.log.write(fmt::format("{}: {}\n", label, text));
    propertyChanged_.emit(key);
}

void Network::setBonjourStatus(const std::string& text) {
    setStatus(bonjourStatus_, text, "bonjourStatus", "Bonjour Status");
}

void Network::setNetworkStatus(const std::string& text) {
    setStatus(networkStatus_, text, "networkStatus", "Network Status");
}

void Network::setIPAddr(const std::string& text) {
    setStatus(ipAddr_, text, "ipAddr", "IP Address");
}

void Network::setExternalIpPort(const std::string& text) {
    setStatus(externalIpPort_, text, "externalIpPort", "External Address");
}

void Network::netServiceWillPublish(const PublishedService& service) {
    services_.push_back(service.name);
    setBonjourStatus("Bonjour service started...");
}

void Network::netServiceDidNotPublish(const PublishedService& service, int errorCode) {
    handleError(errorCode, service);
    std::erase(services_, service.name);
}

void Network::netServiceDidStop(const PublishedService& service) {
    std::erase(services_, service.name);
    setBonjourStatus("Bonjour service stopped.");
}

void Network::handleError(int errorCode, const PublishedService& service) {
    setBonjourStatus(fmt::format("Bonjour service error {}.{}.{}, error code = {}", service.domain,
                                 service.type, service.name, errorCode));
}

} // namespace ovelo
