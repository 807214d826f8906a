#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

namespace acceptance {

// One accepted connection, as its bytes come and go. Both throw, or read nothing, at its end.
class Connection {
public:
    explicit Connection(std::uintptr_t socket) : socket_(socket) {}
    virtual ~Connection();
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;
    virtual std::string read();
    virtual void write(std::string_view bytes);

private:
    std::uintptr_t socket_;
};

// A management server on loopback that keeps what it receives and answers 200.
class Server {
public:
    // What is made of each accepted socket; it may throw.
    using Accept = std::function<std::unique_ptr<Connection>(std::uintptr_t socket)>;
    explicit Server(Accept accept = std::make_unique<Connection, std::uintptr_t>);
    ~Server();
    Server(const Server&) = delete;
    Server& operator=(const Server&) = delete;

    unsigned short port() const { return port_; }
    // Whole requests, as received; each once.
    std::vector<std::string> take();

private:
    void serve();
    void converse(Connection& connection);

    Accept accept_;
    std::uintptr_t listener_;
    unsigned short port_ = 0;
    std::mutex lock_;
    std::vector<std::string> requests_;
    std::thread thread_;
};

// The one that all tokens name, unless an item has its own.
Server& reports();
// -t and the token of a site at this address.
std::wstring tokenOption(const std::string& url);
std::wstring tokenOption(); // reports()
// The value of a text part, or "" when the request has none.
std::string part(const std::string& request, const std::string& name);

} // namespace acceptance
