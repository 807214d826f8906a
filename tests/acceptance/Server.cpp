#include "Server.h"

#include "libkelvane/JsonLibrary.h"
#include "libwin32/Win32Error.h"

#include <winsock2.h>

#include <cstdlib>
#include <format>

namespace acceptance {
namespace {

// As Content-Length says, or with the last chunk.
bool isWhole(const std::string& request) {
    const auto head = request.find("\r\n\r\n");
    if (head == request.npos) return false;
    const auto length = request.find("Content-Length: ");
    if (length >= head) return request.ends_with("\r\n0\r\n\r\n");
    return request.size() >= head + 4 + std::strtoull(request.c_str() + length + 16, nullptr, 10);
}

} // namespace

Connection::~Connection() { closesocket(socket_); }

std::string Connection::read() {
    char bytes[16384];
    const int size = recv(socket_, bytes, sizeof bytes, 0);
    return {bytes, size > 0 ? static_cast<std::size_t>(size) : 0};
}

void Connection::write(std::string_view bytes) { send(socket_, bytes.data(), static_cast<int>(bytes.size()), 0); }

Server::Server(Accept accept) : accept_(std::move(accept)) {
    WSADATA data{};
    WSAStartup(MAKEWORD(2, 2), &data);
    listener_ = socket(AF_INET, SOCK_STREAM, IPPROTO_TCP);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    int size = sizeof address;
    auto* place = reinterpret_cast<sockaddr*>(&address);
    const bool listening = bind(listener_, place, size) == 0 && listen(listener_, SOMAXCONN) == 0;
    win32::check(listening && getsockname(listener_, place, &size) == 0, "listen");
    port_ = ntohs(address.sin_port);
    thread_ = std::thread([this] { serve(); });
}

Server::~Server() {
    closesocket(listener_);
    thread_.join();
}

void Server::serve() {
    for (SOCKET socket; (socket = accept(listener_, nullptr, nullptr)) != INVALID_SOCKET;) {
        constexpr DWORD patience = 30'000;
        setsockopt(socket, SOL_SOCKET, SO_RCVTIMEO, reinterpret_cast<const char*>(&patience), sizeof patience);
        try {
            converse(*accept_(socket));
        } catch (const std::exception&) {
            // whoever does not trust the certificate breaks off
        }
    }
}

void Server::converse(Connection& connection) {
    std::string request;
    while (!isWhole(request)) {
        const auto bytes = connection.read();
        if (bytes.empty()) return;
        request += bytes;
    }
    {
        const std::scoped_lock guard(lock_);
        requests_.push_back(std::move(request));
    }
    connection.write("HTTP/1.1 200 OK\r\nContent-Length: 2\r\nConnection: close\r\n\r\n{}");
}

std::vector<std::string> Server::take() {
    const std::scoped_lock guard(lock_);
    return std::exchange(requests_, {});
}

Server& reports() {
    static Server server;
    return server;
}

std::wstring tokenOption(const std::string& url) {
    const std::string text = R"({"url":")" + url + R"(","site_key":"acceptance"})";
    return L"-t " + utility::conversions::to_base64({text.begin(), text.end()});
}

std::wstring tokenOption() { return tokenOption(std::format("http://127.0.0.1:{}", reports().port())); }

std::string part(const std::string& request, const std::string& name) {
    const auto head = "name=\"" + name + "\"\r\n\r\n";
    const auto start = request.find(head);
    if (start == request.npos) return {};
    return request.substr(start + head.size(), request.find("\r\n", start + head.size()) - start - head.size());
}

} // namespace acceptance
