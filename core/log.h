// The launcher's one log: launcher.log in the data folder, one time-stamped line per event, from any
// thread. No levels, no rotation; a line that cannot be written is dropped silently.
#pragma once

namespace orv {

#if defined(__MINGW32__)
// MinGW's printf attribute means the old msvcrt rules; the launcher formats with the C99 ones.
#define ORV_PRINTF_LIKE(fmt, args) __attribute__((format(gnu_printf, fmt, args)))
#elif defined(__GNUC__)
#define ORV_PRINTF_LIKE(fmt, args) __attribute__((format(printf, fmt, args)))
#else
#define ORV_PRINTF_LIKE(fmt, args)
#endif

// printf-style, UTF-8. The message is cut at 2047 bytes; the line is "[YYYY-MM-DD hh:mm:ss] msg\r\n"
// in local time.
void Log(const char* format, ...) ORV_PRINTF_LIKE(1, 2);

}  // namespace orv
