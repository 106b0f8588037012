# The programs run as root on files that others may write: what is shipped checks itself. tests/hardening reads most of
# this off the built programs.
include(CheckPIESupported)
check_pie_supported()
set(CMAKE_POSITION_INDEPENDENT_CODE ON)

# The first takes back what the compiler or the packager has set by default, so that nothing is defined twice.
add_compile_options(-D_GLIBCXX_ASSERTIONS "$<$<CONFIG:Release>:-U_FORTIFY_SOURCE;-D_FORTIFY_SOURCE=2>"
    "$<$<CONFIG:Release>:-fstack-protector-strong;-fstack-clash-protection>")
add_link_options("$<$<CONFIG:Release>:LINKER:-z,relro,-z,now>")
