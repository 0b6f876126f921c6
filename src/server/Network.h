#pragma once

#include "platform/Clock.h"
#include "platform/Data.h"
#include "platform/Mutex.h"
#include "platform/ServicePublisher.h"
#include "server/ServedThread.h"
#include "server/SessionHost.h"
#include "server/SessionThreads.h"
#include "server/UdpServer.h"

#include <sigc++/sigc++.h>

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <vector>

namespace ovelo {

class AccountPrompt;
class Logger;
class NATBuster;
class NetworkInstance;
class Settings;
class Socket;
class UdpStream;
class ViewerDocument;

/// The viewer server: listens, announces itself, keeps the registry of sessions and hands pictures,
/// sound and text to all of them.
///
/// thread  main, unless said otherwise
class Network final : public SessionHost, private ServicePublisher::Delegate {
public:
    using PublisherFactory = std::function<std::unique_ptr<ServicePublisher>(
        const PublishedService&, ServicePublisher::Delegate&)>;

    /// What leads viewers here from the internet. A way whose function is empty is not opened.
    struct Internet {
        /// Makes the rendezvous' user, whose waits end when wakeFd is readable: viewers on UDP.
        std::function<std::unique_ptr<NATBuster>(int wakeFd)> natBuster = {};

        /// Registers the public TCP port. Called on the main thread, again and again.
        std::function<void()> registerTcpPort = {};

        std::uint16_t udpPort = UdpServer::kPort;
        UdpServer::Pauses pauses = {};
        std::chrono::milliseconds udpSilence = std::chrono::seconds(10); // ends a session
    };

    struct Environment {
        Settings& settings;
        Logger& log;
        const Clock& clock;
        AccountPrompt& prompt;
        PublisherFactory publisher;
        Internet internet = {};
    };

    /// How often the public TCP port is registered anew.
    static constexpr auto kTcpRegistrationPeriod = std::chrono::seconds(1800);

    /// Sessions on UDP that are over stay in the registry, but no more of them than this.
    static constexpr std::size_t kMostSessionsOver = 64;

    /// Begins to register the public TCP port.
    explicit Network(Environment environment);
    ~Network() override;
    Network(const Network&) = delete;
    Network& operator=(const Network&) = delete;

    /// Asks for the account when there is none, then listens, announces the service and accepts
    /// viewers.
    void startServer(ViewerDocument& document);

    /// Ends the server for good: nobody is accepted or looked for any more, nothing is registered,
    /// every session is ended and its threads are joined. Serves the main thread's calls meanwhile.
    /// Harmless when not started.
    void stopServer();

    /// The account window's OK button: stores both texts, and tells whether they will do.
    bool setButtonPressed(const std::string& email, const std::string& password);

    // The status texts of the window; a change is announced by propertyChanged() with the key
    // "bonjourStatus", "networkStatus", "ipAddr" or "externalIpPort".
    [[nodiscard]] const std::string& bonjourStatus() const { return bonjourStatus_; }
    [[nodiscard]] const std::string& networkStatus() const { return networkStatus_; }
    [[nodiscard]] const std::string& ipAddr() const { return ipAddr_; }
    [[nodiscard]] const std::string& externalIpPort() const { return externalIpPort_; }
    void setBonjourStatus(const std::string& text);
    void setNetworkStatus(const std::string& text) override;
    void setIPAddr(const std::string& text);
    void setExternalIpPort(const std::string& text);
    sigc::signal<void(const std::string&)>& propertyChanged() { return propertyChanged_; }

    // Fan-out. Any thread; never waits for a viewer.
    void sendImageData(const Data& data);
    void sendAudioData(const Data& data);
    void sendText(const std::string& text);

    /// True when a viewer is authenticated. Any thread.
    [[nodiscard]] bool hasClient() const;

    /// The first session's answer, which paces them all; true without any. Any thread.
    [[nodiscard]] bool shouldSkipFrame();

    /// The port that is listened on; 0 when not listening.
    [[nodiscard]] std::uint16_t port() const { return port_; }

    /// Registered sessions. Any thread.
    [[nodiscard]] std::size_t sessionCount() const;

    /// Takes a session that has ended out of the registry. Any thread.
    void networkInstanceExitSel(NetworkInstance& session) override;

private:
    void tcpServerThread(const std::stop_token& stop);
    void accept(std::unique_ptr<Socket> client);
    bool listen();
    bool announceService();
    void tcpRegThread(const std::stop_token& stop);
    void serveUdp(std::shared_ptr<UdpStream> stream);
    void forgetOldSessionsLocked() OVELO_REQUIRES(registryLock_);
    void endSessions();
    [[nodiscard]] bool isAnythingRunning() const;
    void netServiceWillPublish(const PublishedService& service) override;
    void netServiceDidNotPublish(const PublishedService& service, int errorCode) override;
    void netServiceDidStop(const PublishedService& service) override;
    void handleError(int errorCode, const PublishedService& service);
    void setStatus(std::string& status, const std::string& text, const char* key,
                   const char* label);

    mutable Mutex registryLock_{LockRank::Registry};
    std::vector<std::shared_ptr<NetworkInstance>> instances_ OVELO_GUARDED_BY(registryLock_);
    std::vector<std::string> services_; // names of the services that are being published
    std::string bonjourStatus_;
    std::string networkStatus_;
    std::string ipAddr_;
    std::string externalIpPort_;
    std::unique_ptr<ServicePublisher> service_;
    std::unique_ptr<Socket> listnerSocket_;     // sic
    ViewerDocument* parentDocoument_ = nullptr; // sic; given, not owned

    Environment environment_;
    std::uint16_t port_ = 0;
    sigc::signal<void(const std::string&)> propertyChanged_;
    Mutex pauseLock_{LockRank::Threads};
    std::condition_variable_any stopped_;

    // Joined before anything above dies.
    SessionThreads sessionThreads_;
    std::unique_ptr<UdpServer> udpServer_; // none without a rendezvous
    ServedThread tcpRegThread_;
    std::jthread tcpServerThread_;
};

} // namespace ovelo
