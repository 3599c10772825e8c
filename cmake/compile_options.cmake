# How everything is compiled. `char` is unsigned, as on the phone.
set(CMAKE_CXX_STANDARD 17)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)

if(NOT CMAKE_BUILD_TYPE)
  set(CMAKE_BUILD_TYPE RelWithDebInfo)
endif()

add_compile_options(-funsigned-char -Wall -Wextra -Wshadow -Wmissing-declarations -Werror)
if(CMAKE_CXX_COMPILER_ID STREQUAL Clang)
  add_compile_options(-Wconditional-uninitialized -Wextra-semi
    -Wloop-analysis -Wnon-virtual-dtor -Wshadow-all -Wunreachable-code-aggressive)
endif()
add_compile_definitions(_GNU_SOURCE)
# By which debug information is found that was installed apart.
add_link_options(-Wl,--build-id)
if(FCX_BENCH AND CMAKE_CXX_COMPILER_ID STREQUAL GNU AND CMAKE_SYSTEM_PROCESSOR STREQUAL x86_64)
  # Where costs are counted, whole records are cleared and copied by the C library, as on a phone: of GCC's
  # repeated string instruction each word would count.
  add_compile_options(-mmemset-strategy=libcall:-1:noalign -mmemcpy-strategy=libcall:-1:noalign)
endif()
if(CMAKE_SIZEOF_VOID_P EQUAL 4)
  # Files and directories of file systems whose numbers need 64 bits.
  add_compile_definitions(_FILE_OFFSET_BITS=64)
endif()

set(FCX_SANITIZE "" CACHE STRING "Sanitizers to build with, as for -fsanitize")
if(FCX_SANITIZE)
  add_compile_options(-fsanitize=${FCX_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  add_link_options(-fsanitize=${FCX_SANITIZE})
endif()

option(FCX_LIBCXX "Build with Clang's standard library, and the library without exceptions and RTTI, as on the phone" OFF)
if(FCX_LIBCXX)
  add_compile_options(-stdlib=libc++)
  add_link_options(-stdlib=libc++)
  # Locks are checked where std::mutex and std::lock_guard are annotated, too.
  add_compile_options(-Wthread-safety)
  add_compile_definitions(_LIBCPP_ENABLE_THREAD_SAFETY_ANNOTATIONS)
endif()

# Every source of the library, as the platform builds it.
if(FCX_LIBCXX OR FCX_HOME STREQUAL phone)
  set(FCX_LIBRARY_OPTIONS -fno-exceptions -fno-rtti)
endif()
if(FCX_HOME STREQUAL phone)
  # A vendor library sees of the platform what is stable across its releases.
  add_compile_definitions(__ANDROID_VNDK__)
endif()
