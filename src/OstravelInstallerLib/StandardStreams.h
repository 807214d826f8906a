#pragma once

namespace kelvane::bst {

// Binds the C and C++ standard streams to the process's standard handles, as a program without a console window needs
// after it got one; a stream without a valid handle is bound to "nul". Throws Win32Error "Could not get console's std
// handle" or "Could not get the file descriptor associated with the given handle".
void bindStandardStreams();

} // namespace kelvane::bst
