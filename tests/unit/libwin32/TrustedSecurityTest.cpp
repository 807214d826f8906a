#include "libwin32/AdministratorsOnly.h"

#include <gtest/gtest.h>

#include <sddl.h>

static win32::UniqueSecurityDescriptor descriptor(const wchar_t* sddl) {
    win32::UniqueSecurityDescriptor result;
    ConvertStringSecurityDescriptorToSecurityDescriptorW(sddl, SDDL_REVISION_1, result.put(), nullptr);
    return result;
}

// What Windows gives a folder that an administrator makes in Program Files.
#define TRUSTED_INSTALLER L"S-1-5-80-956008885-3418522649-1831038044-1853292631-2271478464"
#define INHERITED                                                                                                      \
    L"D:AI(A;ID;FA;;;" TRUSTED_INSTALLER L")(A;CIIOID;GA;;"                                                            \
    L";" TRUSTED_INSTALLER L")(A;ID;FA;;;SY)(A;OICIIOID;GA;;;SY)(A;ID;FA;;;BA)("                                       \
    L"A;OICIIOID;GA;;;BA)(A;ID;0x1200a9;;;BU)"                                                                         \
    L"(A;OICIIOID;GXGR;;;BU)(A;OICIIOID;GA;;;CO)(A;ID;0x1200a9;;;AC)(A;OICIIOID;GXGR;;;AC)"

TEST(TrustedSecurity, OnlyWhatNobodyElseMayChange) {
    for (const auto* sddl : {L"O:BAD:P(A;OICI;FA;;;BA)(A;OICI;FA;;;SY)", L"O:SYD:(D;;FA;;;WD)(A;;FA;;;SY)",
                             L"O:" TRUSTED_INSTALLER INHERITED, L"O:BA" INHERITED, L"O:BAD:(A;;FRFX;;;WD)", L"O:BAD:",
                             L"O:BAD:(A;OICI;FA;;;OW)"}) {
        EXPECT_TRUE(win32::onlyAdministratorsMayChange(descriptor(sddl).get())) << sddl;
    }
    for (const auto* sddl :
         {L"O:BUD:P(A;OICI;FA;;;BA)", L"O:S-1-5-21-1-2-3-500D:P(A;OICI;FA;;;BA)",
          L"O:S-1-5-80-956008885D:P(A;;FA;;;BA)", L"D:P(A;OICI;FA;;;BA)", L"O:BA", L"O:BAD:(A;;FW;;;BU)",
          L"O:BAD:(A;OICIIO;GW;;;AU)", L"O:BAD:(A;OICIIO;GA;;;CG)", L"O:BAD:(A;;0x2;;;BU)", L"O:BAD:(A;;0x4;;;BU)",
          L"O:BAD:(A;;0x10;;;BU)", L"O:BAD:(A;;0x40;;;BU)", L"O:BAD:(A;;0x100;;;BU)", L"O:BAD:(A;;SD;;;BU)",
          L"O:BAD:(A;;WD;;;BU)", L"O:BAD:(A;;WO;;;BU)", L"O:BAD:(A;;FA;;;LS)", L"O:BAD:(D;;FA;;;WD)(A;;FA;;;WD)"}) {
        EXPECT_FALSE(win32::onlyAdministratorsMayChange(descriptor(sddl).get())) << sddl;
    }
}
