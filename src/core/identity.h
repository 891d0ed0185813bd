// SPDX-License-Identifier: BSD-2-Clause
// What the agent calls itself, on the console and on the wire.

#ifndef ZEM_CORE_IDENTITY_H_
#define ZEM_CORE_IDENTITY_H_

namespace zem::identity {

inline constexpr const char* kName = "OV Zem Agent";
// Deliberate: the platform is FreeBSD wherever the agent runs; servers choose their dialogue by it.
inline constexpr const char* kPlatform = "FreeBSD";
inline constexpr const char* kVersion = "1.32";
inline constexpr const char* kDeveloper = "Ovrant (https://ovrant.example/)";

}  // namespace zem::identity

#endif  // ZEM_CORE_IDENTITY_H_
