// What cpprestsdk's Windows sources take from another compiler's headers. Given with -include to the library and its users.
#pragma once
// clang-format off
#include <winsock2.h>
#include <windows.h>
// clang-format on
#include <crtdbg.h>
#include <intrin.h>
#include <locale.h>
#include <malloc.h>
#include <share.h>
#include <wchar.h>

#undef C_ASSERT
#define C_ASSERT(e) static_assert(e, #e)
#ifndef _ASSERTE
#define _ASSERTE(x)
#endif
#define __assume(x)                                                                                                    \
    if (!(x)) __builtin_unreachable();
#define __except(filter) catch (...)
#ifndef WININET_E_INCORRECT_HANDLE_STATE
#define WININET_E_INCORRECT_HANDLE_STATE ((HRESULT)0x80072EF3L)
#endif
#define _ReturnAddress() __builtin_return_address(0)
#define _wcstod_l(text, end, locale) wcstod(text, end)
