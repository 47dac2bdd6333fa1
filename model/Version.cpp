#include "model/Version.h"

namespace tessivar
{

std::string programVersion()
{
    return TESSIVAR_VERSION;
}

std::string programRevision()
{
    return TESSIVAR_REVISION;
}

} // namespace tessivar
