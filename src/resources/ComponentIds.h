#pragma once

/// Names and identifiers by which the program finds its components, shared by the program and by
/// the component's own file. Class identifiers are fixed for good: registrations hold them.
namespace bkfd::ComponentIds {

/// The common library, a part of this process.
inline constexpr char16_t LibraryFile[] = u"Quoin.dll";
/// The component beside the program.
inline constexpr char16_t CustomFile[] = u"BKFDCustom.dll";
/// Its class that may replace the logger, known by both names.
inline constexpr char16_t CustomProgId[] = u"BKFDCustom.CCustom2";
inline constexpr char16_t CustomClassId[] = u"{3F88A2A3-A85A-493C-829F-DDADBA0ED08C}";
/// Its class that only has to exist, known by class identifier alone.
inline constexpr char16_t CheckClassId[] = u"{50117FF6-355B-4DF1-A2D5-F33BBF302521}";

}  // namespace bkfd::ComponentIds
