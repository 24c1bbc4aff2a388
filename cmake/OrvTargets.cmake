# Project-wide target helpers: one warning set, one sanitizer switch, one way to declare a test.

set(ORV_WARNINGS -Wall -Wextra -Wpedantic -Wshadow -Wnon-virtual-dtor -Woverloaded-virtual
    -Wcast-align -Wformat=2 -Wimplicit-fallthrough -Wmissing-declarations)

# The platform folder suffix chosen for sources named foo_win.cpp / foo_posix.cpp.
if(WIN32)
  set(ORV_PLATFORM win)
else()
  set(ORV_PLATFORM posix)
endif()

function(orv_target_defaults target)
  target_compile_options(${target} PRIVATE ${ORV_WARNINGS})
  if(ORV_WERROR)
    target_compile_options(${target} PRIVATE -Werror)
  endif()
  if(WIN32)
    # Wide Win32 APIs everywhere; no min/max macros; a recent enough API set.
    target_compile_definitions(${target} PRIVATE UNICODE _UNICODE NOMINMAX WIN32_LEAN_AND_MEAN
                               _WIN32_WINNT=0x0A00 WINVER=0x0A00
                               __USE_MINGW_ANSI_STDIO=1)
  endif()
  if(ORV_SANITIZE)
    target_compile_options(${target} PRIVATE -fsanitize=address,undefined -fno-omit-frame-pointer
                           -fno-sanitize-recover=undefined)
    target_link_options(${target} PRIVATE -fsanitize=address,undefined)
  endif()
endfunction()

# orv_library(name SOURCES ... [PLATFORM_SOURCES stem ...] [DEPS ...] [SYSTEM_DEPS ...])
# PLATFORM_SOURCES lists stems: "file_util" adds file_util_win.cpp or file_util_posix.cpp.
function(orv_library name)
  cmake_parse_arguments(ARG "" "" "SOURCES;PLATFORM_SOURCES;DEPS;SYSTEM_DEPS" ${ARGN})
  set(srcs ${ARG_SOURCES})
  foreach(stem IN LISTS ARG_PLATFORM_SOURCES)
    list(APPEND srcs ${stem}_${ORV_PLATFORM}.cpp)
  endforeach()
  add_library(${name} STATIC ${srcs})
  target_include_directories(${name} PUBLIC ${PROJECT_SOURCE_DIR})
  target_link_libraries(${name} PUBLIC ${ARG_DEPS} ${ARG_SYSTEM_DEPS})
  orv_target_defaults(${name})
endfunction()

# orv_executable(name SOURCES ... [DEPS ...] [WIDE_MAIN])
# WIDE_MAIN: the program defines wmain on Windows so its arguments arrive as UTF-16.
function(orv_executable name)
  cmake_parse_arguments(ARG "WIDE_MAIN" "" "SOURCES;DEPS" ${ARGN})
  add_executable(${name} ${ARG_SOURCES})
  target_link_libraries(${name} PRIVATE ${ARG_DEPS})
  orv_target_defaults(${name})
  if(WIN32)
    # One self-contained .exe: no MinGW runtime DLLs to ship or to find under Wine.
    target_link_options(${name} PRIVATE -static)
    if(ARG_WIDE_MAIN)
      target_link_options(${name} PRIVATE -municode)
    endif()
  endif()
endfunction()
