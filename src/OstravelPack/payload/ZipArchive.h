#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace kelvane::pack {

// A file of the payload. A name is ASCII and has no folder.
struct PayloadFile {
    std::string name;
    std::string content;
    bool stored = false;        // whatever compression would save
    std::size_t packedSize = 0; // set by zipArchive
};

// The archive of these files in their order: each deflated as well as can be, or stored where that does not make it
// smaller. It depends on names and contents alone. Throws Refusal when it would not fit into a program.
std::string zipArchive(std::vector<PayloadFile>& files);

} // namespace kelvane::pack
