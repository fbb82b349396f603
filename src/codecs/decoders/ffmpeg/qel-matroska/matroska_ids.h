// Element IDs, as held: without the length marker.
#pragma once

#include <cstdint>

namespace Matroska::Id {

inline constexpr std::uint32_t Segment = 0x08538067;
inline constexpr std::uint32_t SeekHead = 0x014D9B74;
inline constexpr std::uint32_t Seek = 0xDBB;
inline constexpr std::uint32_t SeekID = 0x13AB;
inline constexpr std::uint32_t SeekPosition = 0x13AC;
inline constexpr std::uint32_t Info = 0x0549A966;
inline constexpr std::uint32_t Tracks = 0x0654AE6B;
inline constexpr std::uint32_t Cues = 0x0C53BB6B;
inline constexpr std::uint32_t Cluster = 0x0F43B675;

inline constexpr std::uint32_t Tags = 0x0254C367;
inline constexpr std::uint32_t Tag = 0x3373;
inline constexpr std::uint32_t Targets = 0x23C0;
inline constexpr std::uint32_t TargetTypeValue = 0x28CA;
inline constexpr std::uint32_t TagChapterUID = 0x23C4;
inline constexpr std::uint32_t TagTrackUID = 0x23C5;
inline constexpr std::uint32_t TagAttachmentUID = 0x23C6;
inline constexpr std::uint32_t TagEditionUID = 0x23C9;
inline constexpr std::uint32_t SimpleTag = 0x27C8;
inline constexpr std::uint32_t TagName = 0x5A3;
inline constexpr std::uint32_t TagLanguage = 0x47A;
inline constexpr std::uint32_t TagDefault = 0x484;
inline constexpr std::uint32_t TagString = 0x487;

inline constexpr std::uint32_t Attachments = 0x0941A469;
inline constexpr std::uint32_t AttachedFile = 0x21A7;
inline constexpr std::uint32_t FileName = 0x66E;
inline constexpr std::uint32_t FileMimeType = 0x660;
inline constexpr std::uint32_t FileData = 0x65C;
inline constexpr std::uint32_t FileUID = 0x6AE;

}  // namespace Matroska::Id
