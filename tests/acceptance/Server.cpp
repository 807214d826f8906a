#include "Acceptance.h"
#include "libkelvane/JsonLibrary.h"
#include "libwin32/Win32Error.h"

#include <winsock2.h>

#include <cstdlib>
#include <format>
#include <mutex>

namespace acceptance {
namespace {

std::mutex lock;
std::vector<std::string> received;

// As Content-Length says, or with the last chunk.
bool isWhole(const std::string& request) {
    const auto head = request.find("\r\n\r\n");
    if (head == request.npos) return false;
    const auto length = request.find("Content-Length: ");
    if (length >= head) return request.ends_with("\r\n0\r\n\r\n");
    return request.size() >= head + 4 + std::strtoull(request.c_str() + length + 16, nullptr, 10);
}

void takeRequest(std::uintptr_t socket) {
    std::string request;
    while (!isWhole(request)) {
        const auto bytes = receive(socket);
        if (bytes.empty()) return;
        request += bytes;
    }
    {
        const std::scoped_lock guard(lock);
        received.push_back(std::move(request));
    }
    constexpr std::string_view answer = "HTTP/1.1 200 OK\r\nContent-Length: 2\r\nConnection: close\r\n\r\n{}";
    send(socket, answer.data(), static_cast<int>(answer.size()), 0);
}

} // namespace

Listener::Listener(Serve serve) {
    WSADATA data{};
    WSAStartup(MAKEWORD(2, 2), &data);
    socket_ = socket(AF_INET, SOCK_STREAM, IPPROTO_TCP);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    int size = sizeof address;
    auto* place = reinterpret_cast<sockaddr*>(&address);
    const bool listening = bind(socket_, place, size) == 0 && listen(socket_, SOMAXCONN) == 0;
    win32::check(listening && getsockname(socket_, place, &size) == 0, "listen");
    port_ = ntohs(address.sin_port);
    thread_ = std::thread([listener = socket_, serve = std::move(serve)] {
        for (SOCKET socket; (socket = accept(listener, nullptr, nullptr)) != INVALID_SOCKET; closesocket(socket)) {
            constexpr DWORD patience = 30'000;
            setsockopt(socket, SOL_SOCKET, SO_RCVTIMEO, reinterpret_cast<const char*>(&patience), sizeof patience);
            serve(socket);
        }
    });
}

Listener::~Listener() {
    closesocket(socket_);
    thread_.join();
}

std::string receive(std::uintptr_t socket) {
    char bytes[16384];
    const int size = recv(socket, bytes, sizeof bytes, 0);
    return {bytes, size > 0 ? static_cast<std::size_t>(size) : 0};
}

std::vector<std::string> takeReports() {
    const std::scoped_lock guard(lock);
    return std::exchange(received, {});
}

std::wstring tokenOption(const std::string& url) {
    const std::string text = R"({"url":")" + url + R"(","site_key":"acceptance"})";
    return L"-t " + utility::conversions::to_base64({text.begin(), text.end()});
}

std::wstring tokenOption() {
    static const Listener reports(&takeRequest);
    return tokenOption(std::format("http://127.0.0.1:{}", reports.port()));
}

} // namespace acceptance
