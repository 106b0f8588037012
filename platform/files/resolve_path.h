// Where an entry of the package is when folders on the way to it are symbolic links.
#pragma once

#include <string>
#include <string_view>

// The real path of an absolute path of the package or the host: under the prefix of VG_SYSROOT, with the
// symbolic links before its last component followed as a system whose root is the prefix follows them, so
// that a link to "/volume1" does not lead out of the prefix. The last component is left as it is, link or
// not; of a folder with a "/" behind it, it is followed too. Without a prefix the path stands as it is: the
// kernel follows the same links.
std::string ResolvePath(std::string_view absolutePath);
