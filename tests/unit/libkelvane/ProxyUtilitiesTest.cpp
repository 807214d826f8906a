#include "libkelvane/ProxyUtilities.h"
#include "libkelvane/SystemProxy.h"

#include <gtest/gtest.h>

using namespace kelvane::ProxyUtilities;

TEST(ProxyUtilities, EveryFormHasItsLogTextAndOthersAreRefused) {
    const std::pair<const wchar_t*, const wchar_t*> forms[] = {
        {L"none", L"[disabled]"},
        {L" auto\t", L"[auto discovery]"},
        {L"system", L"[default]"},
        {L"pac,http://wpad/p.pac", L"[auto discovery]"},
        {L"user", L"[default]"},
        {L"user,entry", L"[default]"},
        {L"proxy:8080", L"[specified] http://proxy:8080/"},
        {L"https://proxy:8443", L"[specified] https://proxy:8443/"},
        {L"None:1", L"[specified] http://none:1/"}};
    for (const auto& [text, rendered] : forms)
        EXPECT_EQ(ProxyToString(ParseProxyConfiguration(text)), rendered) << text;
    EXPECT_EQ(ProxyToString(std::nullopt), L"<null>");
    EXPECT_EQ(ParseProxyConfiguration(L"user,my entry").credentialName, L"my entry");
    EXPECT_THROW(ParseProxyConfiguration(L" "), std::runtime_error);
    for (const auto* text : {L"a b", L"http://", L"pac,"})
        EXPECT_THROW(ParseProxyConfiguration(text), std::exception) << text;
}

TEST(ProxyUtilities, PicksTheProxyOfTheScheme) {
    EXPECT_EQ(proxyForScheme(L"proxy:8080", L"https://s/"), L"proxy:8080");
    EXPECT_EQ(proxyForScheme(L"http=a:1;https=b:2", L"https://s/"), L"b:2");
    EXPECT_EQ(proxyForScheme(L"ftp=a:1", L"https://s/"), std::nullopt);
}
