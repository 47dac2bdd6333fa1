#pragma once

#include <cstdlib>

namespace tessivar::test
{

/** Sets a variable of this process and of those that it starts. */
inline void setVariable (const char* name, const char* value)
{
#ifdef _WIN32
    ::_putenv_s (name, value);
#else
    ::setenv (name, value, 1);
#endif
}

} // namespace tessivar::test
