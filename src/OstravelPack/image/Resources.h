#pragma once

#include <windows.h>

#include <compare>
#include <string>
#include <string_view>
#include <vector>

namespace kelvane::pack {

// A type or name of a resource: text, or where that is empty a number. Windows looks them up in this order.
struct ResourceKey {
    std::wstring text{};
    WORD number = 0;

    std::weak_ordering operator<=>(const ResourceKey& other) const;
    bool operator==(const ResourceKey&) const = default;
};

struct Resource {
    ResourceKey type;
    ResourceKey name;
    WORD language = 0;
    DWORD codePage = 0;
    std::string content{};
};

// The resources in a section that is loaded at the address. Throws Refusal when it is damaged.
std::vector<Resource> readResources(std::string_view section, DWORD address);
// The section for these resources at the address.
std::string writeResources(std::vector<Resource> resources, DWORD address);

// The content of the one of this type and number, nullptr without any.
const std::string* findResource(const std::vector<Resource>& resources, WORD type, WORD number);
// Gives it another content; there is one of this type and number from then on, in US English where there was none.
void putResource(std::vector<Resource>& resources, WORD type, WORD number, std::string content);

} // namespace kelvane::pack
