// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

/// How names of files become names of objects.
namespace bucketry::tool
{

/// The name with every byte outside `A-Za-z0-9._-` as %XX, two upper-case digits.
std::string EscapeName(std::string_view name);

/// The same for a path: each component is escaped, "/" stays.
std::string EscapePath(std::string_view path);

/// The bytes behind an escaped text; "/" may stand in it only if `isPath`. None for a text that the functions above do
/// not make: a byte that should have been escaped, or one escaped in another way.
std::optional<std::string> Unescape(std::string_view text, bool isPath);

/// The longest component that a file system takes.
inline constexpr std::size_t MaxComponentBytes = 255;
/// Room for the root, the backup's path and the number of a piece within the 1024 bytes of a store's key.
inline constexpr std::size_t MaxObjectNameBytes = 700;

/// The object's name for a file's path: its escaped form, or "%00/" and the SHA-256 of the path where that form has a
/// component above 255 bytes or is longer than 700 bytes in all. No escaped path begins with %00: names hold no NUL.
std::string ObjectNameOf(std::string_view path);

/// The name of one piece of a file that is stored as several objects: "<object name>/000000" and so on.
std::string PieceNameOf(std::string_view objectName, std::size_t piece);

/// Whether the path may be restored below a directory: components separated by single "/", none of them empty, "." or
/// "..", no NUL, none too long.
bool IsRelativePath(std::string_view path);

/// The order of a depth-first walk with sorted names: by component, then bytes.
bool IsPathBefore(std::string_view left, std::string_view right);

/// The part before the last "/"; empty if there is none.
std::string_view ParentOf(std::string_view path);
/// The part behind the last "/".
std::string_view BaseNameOf(std::string_view path);

} // namespace bucketry::tool
