#include "libwin32/AdministratorsOnly.h"

#include <array>
#include <cstdint>
#include <cstring>
#include <span>

// Judging owner and entry list of files that somebody else may have made.
namespace win32 {
namespace {

// What opening the way to a change takes: data, names in a directory, attributes (they can make a link of it), the
// entry list and the owner themselves.
constexpr ACCESS_MASK changingRights = FILE_WRITE_DATA | FILE_APPEND_DATA | FILE_WRITE_EA | FILE_WRITE_ATTRIBUTES |
                                       FILE_DELETE_CHILD | DELETE | WRITE_DAC | WRITE_OWNER | GENERIC_WRITE |
                                       GENERIC_ALL | MAXIMUM_ALLOWED;

struct WellKnownSid {
    std::array<std::uint8_t, 6> authority;
    std::array<DWORD, 6> parts;
    std::uint8_t count;
};
constexpr std::array<std::uint8_t, 6> creatorAuthority{0, 0, 0, 0, 0, 3};
constexpr std::array<std::uint8_t, 6> ntAuthority{0, 0, 0, 0, 0, 5};

constexpr WellKnownSid trustedOwners[] = {
    {ntAuthority, {32, 544}, 2},                                                       // Administrators
    {ntAuthority, {18}, 1},                                                            // SYSTEM
    {ntAuthority, {80, 956008885, 3418522649, 1831038044, 1853292631, 2271478464}, 6}, // TrustedInstaller
};
// They stand for whoever makes or owns a thing, and only administrators can do that below an owner whom we trust.
constexpr WellKnownSid standIns[] = {
    {creatorAuthority, {0}, 1}, // CREATOR OWNER
    {creatorAuthority, {4}, 1}, // OWNER RIGHTS
};

bool equals(PSID sid, const WellKnownSid& known) {
    if (*GetSidSubAuthorityCount(sid) != known.count) return false;
    if (std::memcmp(GetSidIdentifierAuthority(sid)->Value, known.authority.data(), known.authority.size()) != 0) {
        return false;
    }
    for (DWORD i = 0; i < known.count; ++i) {
        if (*GetSidSubAuthority(sid, i) != known.parts.at(i)) return false;
    }
    return true;
}

bool isOneOf(PSID sid, std::span<const WellKnownSid> known) {
    for (const auto& one : known) {
        if (equals(sid, one)) return true;
    }
    return false;
}

// Entries of conditional kind allow at most what plain ones do; files have none of the other allowing kinds.
bool isEntryHarmless(void* entry) {
    switch (static_cast<ACE_HEADER*>(entry)->AceType) {
    case ACCESS_DENIED_ACE_TYPE:
    case ACCESS_DENIED_CALLBACK_ACE_TYPE:
        return true;
    case ACCESS_ALLOWED_ACE_TYPE:
    case ACCESS_ALLOWED_CALLBACK_ACE_TYPE: {
        auto* allowed = static_cast<ACCESS_ALLOWED_ACE*>(entry);
        const PSID sid = &allowed->SidStart;
        return (allowed->Mask & changingRights) == 0 || isOneOf(sid, trustedOwners) || isOneOf(sid, standIns);
    }
    default:
        return false;
    }
}

// Without an entry list everybody may do everything.
bool areEntriesHarmless(PSECURITY_DESCRIPTOR security) {
    BOOL present = FALSE;
    BOOL byDefault = FALSE;
    PACL entries = nullptr;
    if (!GetSecurityDescriptorDacl(security, &present, &entries, &byDefault) || !present || !entries) return false;
    for (DWORD i = 0; i < entries->AceCount; ++i) {
        void* entry = nullptr;
        if (!GetAce(entries, i, &entry) || !isEntryHarmless(entry)) return false;
    }
    return true;
}

} // namespace

bool isOwnerTrusted(PSECURITY_DESCRIPTOR security) {
    PSID owner = nullptr;
    BOOL byDefault = FALSE;
    return GetSecurityDescriptorOwner(security, &owner, &byDefault) && owner && isOneOf(owner, trustedOwners);
}

bool onlyAdministratorsMayChange(PSECURITY_DESCRIPTOR security) {
    return isOwnerTrusted(security) && areEntriesHarmless(security);
}

} // namespace win32
