// Reports over TLS, to a server on loopback whose certificate is made for the item: whether the client goes on after
// it.
#include "Acceptance.h"
#include "libwin32/Win32Error.h"

#include <windows.h>
// after the types that they use
#include <wincrypt.h>
#include <winsock2.h>
#define SECURITY_WIN32
#include <schannel.h>
#include <security.h>

#include <atomic>
#include <format>

using namespace acceptance;

namespace {

constexpr wchar_t keyName[] = L"OstravelAcceptance";

struct CertificateTraits {
    using Type = PCCERT_CONTEXT;
    static bool isValid(PCCERT_CONTEXT certificate) { return certificate != nullptr; }
    static void close(PCCERT_CONTEXT certificate) { CertFreeCertificateContext(certificate); }
};
using UniqueCertificate = win32::UniqueResource<CertificateTraits>;

SYSTEMTIME inDays(int days) {
    FILETIME time{};
    GetSystemTimeAsFileTime(&time);
    ULARGE_INTEGER ticks{{time.dwLowDateTime, time.dwHighDateTime}};
    ticks.QuadPart += static_cast<std::uint64_t>(days * 24LL * 3600 * 10'000'000);
    time = {ticks.LowPart, ticks.HighPart};
    SYSTEMTIME parts{};
    FileTimeToSystemTime(&time, &parts);
    return parts;
}

// A key of this user, gone with the object.
class Key {
public:
    Key() {
        open(CRYPT_DELETEKEYSET);
        win32::check(open(CRYPT_NEWKEYSET), "CryptAcquireContext");
        HCRYPTKEY key = 0;
        win32::check(CryptGenKey(provider_, AT_KEYEXCHANGE, (2048U << 16) | CRYPT_EXPORTABLE, &key), "CryptGenKey");
        CryptDestroyKey(key);
        CryptReleaseContext(provider_, 0);
    }
    ~Key() { open(CRYPT_DELETEKEYSET); }
    Key(const Key&) = delete;
    Key& operator=(const Key&) = delete;

private:
    bool open(DWORD flags) {
        return CryptAcquireContextW(&provider_, keyName, MS_ENH_RSA_AES_PROV_W, PROV_RSA_AES, flags);
    }
    HCRYPTPROV provider_ = 0;
};

// Its own root. `days`: until when it is good; it may be past.
UniqueCertificate certificateFor(const wchar_t* host, int days) {
    BYTE encoded[512]{};
    CERT_NAME_BLOB name{sizeof encoded, encoded};
    win32::check(CertStrToNameW(X509_ASN_ENCODING, (std::wstring(L"CN=") + host).c_str(), CERT_X500_NAME_STR, nullptr,
                                encoded, &name.cbData, nullptr),
                 "CertStrToName");
    CRYPT_KEY_PROV_INFO key{};
    key.pwszContainerName = const_cast<wchar_t*>(keyName);
    key.pwszProvName = const_cast<wchar_t*>(MS_ENH_RSA_AES_PROV_W);
    key.dwProvType = PROV_RSA_AES;
    key.dwKeySpec = AT_KEYEXCHANGE;
    char sha256[] = szOID_RSA_SHA256RSA;
    CRYPT_ALGORITHM_IDENTIFIER algorithm{sha256, {}};
    auto begin = inDays(-2);
    auto end = inDays(days);
    UniqueCertificate made(CertCreateSelfSignCertificate(0, &name, 0, &key, &algorithm, &begin, &end, nullptr));
    win32::check(static_cast<bool>(made), "CertCreateSelfSignCertificate");
    return made;
}

// The machine trusts the certificate as long as the object lives.
class Trust {
public:
    explicit Trust(PCCERT_CONTEXT certificate) {
        const HCERTSTORE roots =
            CertOpenStore(CERT_STORE_PROV_SYSTEM_W, 0, 0, CERT_SYSTEM_STORE_LOCAL_MACHINE, L"ROOT");
        CertAddCertificateContextToStore(roots, certificate, CERT_STORE_ADD_REPLACE_EXISTING, stored_.put());
        win32::check(static_cast<bool>(stored_), "CertAddCertificateContextToStore");
        CertCloseStore(roots, 0);
    }
    ~Trust() { CertDeleteCertificateFromStore(stored_.release()); }
    Trust(const Trust&) = delete;
    Trust& operator=(const Trust&) = delete;

private:
    UniqueCertificate stored_;
};

// Whether the client sends data once it has seen the certificate; it gets no answer.
bool goesOn(std::uintptr_t socket, CredHandle* credentials) {
    std::string received;
    CtxtHandle context{};
    CtxtHandle* earlier = nullptr;
    for (SECURITY_STATUS status = SEC_I_CONTINUE_NEEDED; status != SEC_E_OK;) {
        const auto bytes = receive(socket);
        if (bytes.empty()) break;
        received += bytes;
        SecBuffer in[2] = {{static_cast<ULONG>(received.size()), SECBUFFER_TOKEN, received.data()}, {}};
        SecBufferDesc input{SECBUFFER_VERSION, 2, in};
        SecBuffer out{0, SECBUFFER_TOKEN, nullptr};
        SecBufferDesc output{SECBUFFER_VERSION, 1, &out};
        ULONG attributes = 0;
        status = AcceptSecurityContext(credentials, earlier, &input, ASC_REQ_STREAM | ASC_REQ_ALLOCATE_MEMORY, 0,
                                       &context, &output, &attributes, nullptr);
        if (status == SEC_E_INCOMPLETE_MESSAGE) continue;
        if (status < 0) break;
        earlier = &context;
        if (out.pvBuffer) {
            send(socket, static_cast<char*>(out.pvBuffer), static_cast<int>(out.cbBuffer), 0);
            FreeContextBuffer(out.pvBuffer);
        }
        received = in[1].BufferType == SECBUFFER_EXTRA ? received.substr(received.size() - in[1].cbBuffer) : "";
        if (status == SEC_E_OK && received.empty()) received = receive(socket);
    }
    if (earlier) DeleteSecurityContext(earlier);
    constexpr char applicationData = 23; // the type of a record
    return received.starts_with(applicationData);
}

struct Fault {
    const char* name;
    const char* question;
    const wchar_t* host;
    int days;
    bool trusted;
    bool accepted;
};
using Certificates = ItemOf<Fault>;

TEST_P(Certificates, Report) {
    const auto& fault = GetParam();
    settles(fault.question);
    if (fault.trusted) NEEDS_WINDOWS("trusts what the system below it trusts");
    const Key key;
    const auto certificate = certificateFor(fault.host, fault.days);
    std::optional<Trust> trust;
    if (fault.trusted) trust.emplace(certificate.get());
    PCCERT_CONTEXT own = certificate.get();
    SCHANNEL_CRED with{};
    with.dwVersion = SCHANNEL_CRED_VERSION;
    with.cCreds = 1;
    with.paCred = &own;
    with.grbitEnabledProtocols = SP_PROT_TLS1_2_SERVER; // the key's provider is older than TLS 1.3
    CredHandle credentials{};
    win32::checkHresult(AcquireCredentialsHandleW(nullptr, const_cast<wchar_t*>(UNISP_NAME_W), SECPKG_CRED_INBOUND,
                                                  nullptr, &with, nullptr, nullptr, &credentials, nullptr),
                        "AcquireCredentialsHandle");
    std::atomic<int> connections = 0;
    std::atomic<int> accepted = 0;
    {
        const Listener server([&](std::uintptr_t socket) {
            ++connections;
            accepted += goesOn(socket, &credentials);
        });
        EXPECT_EQ(run(L"-q -o " + tokenOption(std::format("https://localhost:{}", server.port()))).code, 0U);
    }
    FreeCredentialsHandle(&credentials);
    EXPECT_GT(connections, 0);
    EXPECT_EQ(accepted > 0, fault.accepted);
}

ITEMS(Certificates,
      Fault{"Right", "a report is sent to a server with the right certificate", L"localhost", 1, true, true},
      Fault{"WrongName", "no report to a server of another name", L"elsewhere.invalid", 1, true, false},
      Fault{"Untrusted", "no report to a server with a root that is not trusted", L"localhost", 1, false, false},
      Fault{"Expired", "no report to a server whose certificate has expired", L"localhost", -1, true, false});

} // namespace
