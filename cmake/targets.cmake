# Shared settings of all targets, and the two helpers that declare them.

set(target_libraries /opt/target)

add_library(ostravel_settings INTERFACE)
target_compile_definitions(ostravel_settings INTERFACE UNICODE _UNICODE NOMINMAX WIN32_LEAN_AND_MEAN
    _WIN32_WINNT=0x0A00 NTDDI_VERSION=0x0A000007)
target_compile_options(ostravel_settings INTERFACE -ffunction-sections -fdata-sections
    # Functions and lines, for the file of symbols: programs are linked without.
    -g1
    # No path of the building machine stays in the program.
    -ffile-prefix-map=${CMAKE_SOURCE_DIR}/= -ffile-prefix-map=${CMAKE_BINARY_DIR}/=)
target_link_options(ostravel_settings INTERFACE -static -Wl,--gc-sections)

# Third-party headers and libraries.
add_library(cpprest INTERFACE)
target_include_directories(cpprest SYSTEM INTERFACE ${target_libraries}/include ${target_libraries}/compat
    ${target_libraries}/boost)
target_compile_definitions(cpprest INTERFACE CPPREST_FORCE_PPLX=1 _NO_ASYNCRTIMP _NO_PPLXIMP)
target_link_libraries(cpprest INTERFACE ${target_libraries}/lib/libcpprest.a winhttp bcrypt crypt32 ws2_32 ole32)
add_library(minizip INTERFACE)
target_include_directories(minizip SYSTEM INTERFACE ${target_libraries}/include)
target_link_libraries(minizip INTERFACE ${target_libraries}/lib/libminizip.a z)
add_library(tclap INTERFACE)
target_include_directories(tclap SYSTEM INTERFACE ${target_libraries}/tclap)

# ostravel_library(NAME [libraries it may include from ...]): the sources of the current folder as a static library. Its
# headers are reached by their path below src/ ("libwin32/Text.h", "OstravelInstaller/package/MsiPackage.h") by those who
# link it and by nobody else: an upward include does not compile.
function(ostravel_library name)
    file(GLOB_RECURSE sources CONFIGURE_DEPENDS ${CMAKE_CURRENT_SOURCE_DIR}/*.cpp)
    add_library(${name} STATIC ${sources})
    cmake_path(RELATIVE_PATH CMAKE_CURRENT_SOURCE_DIR BASE_DIRECTORY ${CMAKE_SOURCE_DIR}/src OUTPUT_VARIABLE path)
    set(link ${CMAKE_BINARY_DIR}/include/${name}/${path})
    cmake_path(GET link PARENT_PATH link_folder)
    file(MAKE_DIRECTORY ${link_folder})
    file(CREATE_LINK ${CMAKE_CURRENT_SOURCE_DIR} ${link} SYMBOLIC)
    target_include_directories(${name} PUBLIC ${CMAKE_BINARY_DIR}/include/${name})
    target_compile_options(${name} PRIVATE -Wall -Wextra -Wpedantic -Wconversion -Werror)
    target_link_libraries(${name} PUBLIC ostravel_settings ${ARGN})
endfunction()

# ostravel_delay_loading(NAME [WITH_SYMBOLS]): the program takes the libraries of toolchain/delay-loaded.txt when it first calls them. An
# exception passes through all of it: GNU ld keeps the unwind data of the whole standard library.
find_package(Python3 REQUIRED COMPONENTS Interpreter)
function(ostravel_delay_loading name)
    set(finish ${CMAKE_SOURCE_DIR}/cmake/finish_image.py)
    set(map ${CMAKE_BINARY_DIR}/${name}.map)
    target_link_directories(${name} BEFORE PRIVATE ${target_libraries}/delay)
    if(NOT "WITH_SYMBOLS" IN_LIST ARGN)
        target_link_options(${name} PRIVATE -s)
    endif()
    target_link_options(${name} PRIVATE -Wl,--no-insert-timestamp -Wl,-Map=${map}
        -Wl,--dynamicbase -Wl,--nxcompat -Wl,--high-entropy-va -Wl,--tsaware
        -Wl,--major-os-version=6 -Wl,--minor-os-version=0 -Wl,--major-subsystem-version=6 -Wl,--minor-subsystem-version=0)
    set_property(TARGET ${name} APPEND PROPERTY LINK_DEPENDS ${finish})
    add_custom_command(TARGET ${name} POST_BUILD VERBATIM
        COMMAND Python3::Interpreter ${finish} $<TARGET_FILE:${name}> ${map})
endfunction()
