#pragma once

#include <cstdint>

// The texts and numbers by which Hyper-V tells its kinds of settings and devices apart, and
// the result codes the library acts on.
namespace quorvane::hyperv {

inline constexpr wchar_t kGeneration2SubType[] = L"Microsoft:Hyper-V:SubType:2";

inline constexpr wchar_t kIdeControllerSubType[] = L"Microsoft:Hyper-V:Emulated IDE Controller";
inline constexpr wchar_t kScsiControllerSubType[] = L"Microsoft:Hyper-V:Synthetic SCSI Controller";
inline constexpr wchar_t kDiskDriveSubType[] = L"Microsoft:Hyper-V:Synthetic Disk Drive";
inline constexpr wchar_t kHardDiskSubType[] = L"Microsoft:Hyper-V:Virtual Hard Disk";
inline constexpr wchar_t kDvdDiskSubType[] = L"Microsoft:Hyper-V:Virtual CD/DVD Disk";

inline constexpr std::int64_t kIdeControllerType = 5;
inline constexpr std::int64_t kScsiControllerType = 6;

// A method's answer when the object is not in a state to do it now; retried where it is
// passing (a reference point during a merge, a drive slot being freed).
inline constexpr std::uint32_t kInvalidState = 32775;
// A method's answer to a parameter it does not accept.
inline constexpr std::uint32_t kInvalidParameter = 32773;

}  // namespace quorvane::hyperv
