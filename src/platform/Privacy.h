#pragma once

// What macOS's privacy protections let this process do.
namespace Privacy {

// Whether Tavrill has Full Disk Access (System Settings, Privacy & Security). The system's own
// privacy database can be opened only with it, so the answer is whether it opens.
bool hasFullDiskAccess();

} // namespace Privacy
