#pragma once

#include "libkelvane/HttpLibrary.h"

#include <chrono>
#include <string>
#include <string_view>

namespace kelvane::bst {

struct ServerAnswer {
    std::uint32_t status = 0; // of HTTP
    std::string text;         // the body's bytes, as many as AnswerText takes
};

// One request to the management server at a time, with a limit for the whole of it. Follows no redirects, speaks
// TLS 1.2 or newer and only to a server whose certificate this machine trusts, logs on nowhere by itself, takes at most
// 64 KiB of an answer's text.
class ManagementClient {
public:
    // `config` says which proxy is used. Throws what the HTTP library throws for an address that is none.
    ManagementClient(const std::wstring& server, web::http::client::http_client_config config,
                     std::chrono::milliseconds limit);

    // Sends and waits for the answer, whatever its status. `path` is relative to the server's address, `loggedBody` is
    // what the log says of the body. Throws web::http::http_exception (logged) and what else the HTTP library throws.
    ServerAnswer send(web::http::http_request request, const std::wstring& path, std::wstring_view loggedBody);

private:
    ServerAnswer await(web::http::http_request request);

    std::chrono::milliseconds limit_;
    web::http::client::http_client client_;
};

} // namespace kelvane::bst
