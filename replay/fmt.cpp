// fmt, built once for whatever target and standard library: Debian has it as a shared library of this machine
// alone, which an installed tree would have to carry along.
#include <fmt/format-inl.h>

FMT_BEGIN_NAMESPACE
namespace detail {

// What <fmt/core.h> and <fmt/format.h> declare and expect elsewhere.
template auto dragonbox::to_decimal(float) noexcept -> dragonbox::decimal_fp<float>;
template auto dragonbox::to_decimal(double) noexcept -> dragonbox::decimal_fp<double>;
template auto thousands_sep_impl(locale_ref) -> thousands_sep_result<char>;
template auto decimal_point_impl(locale_ref) -> char;
template void buffer<char>::append(char const*, char const*);
template void vformat_to(buffer<char>&, string_view, basic_format_args<FMT_BUFFER_CONTEXT(char)>, locale_ref);

}  // namespace detail
FMT_END_NAMESPACE
