// System properties, as the host's utilities read them. Each returns the default when the property is unset or
// its text is no value of the type. Names and defaults are the caller's.
#pragma once

namespace NSCam::Utils::Properties {

/// Non-zero for 1, true, y, yes, on; zero for 0, false, n, no, off.
signed char property_get_bool(char const* name, signed char defaultValue);

/// A decimal or 0x-hexadecimal integer in the range of the type.
int property_get_int32(char const* name, int defaultValue);
long property_get_int64(char const* name, long defaultValue);

}  // namespace NSCam::Utils::Properties
