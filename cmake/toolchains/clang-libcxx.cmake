# clang 14 with libc++, as Debian packages them. The standard library goes into
# the flags of every target: GoogleTest must use the same one.
set(CMAKE_CXX_COMPILER clang++-14)
set(CMAKE_C_COMPILER clang-14)
set(CMAKE_CXX_FLAGS_INIT -stdlib=libc++)
set(ORVO_LIBCXX ON)
