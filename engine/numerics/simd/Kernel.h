#pragma once

#include <cstddef>

namespace tessivar::kernels
{

/** Logical lanes of all kernels, at every vector width. */
inline constexpr std::size_t lanes = 16;

/** n rounded up to whole vectors of 16. */
[[nodiscard]] constexpr std::size_t wholeVectors (std::size_t n)
{
    return (n + lanes - 1) / lanes * lanes;
}

/** Index of the instruction set in use into the tables of kernels. */
[[nodiscard]] std::size_t chosenTarget();

/** A function that is compiled for every instruction set; a call goes to the one in use. */
template <typename Signature>
class Kernel;

template <typename Result, typename... Arguments>
class Kernel<Result (Arguments...)>
{
public:
    using Function = Result (*) (Arguments...);

    constexpr explicit Kernel (const Function* targets) : table (targets) {}

    Result operator() (Arguments... arguments) const { return table[chosenTarget()](arguments...); }

private:
    const Function* table;
};

/** Defines a kernel declared in a header, by a function in the namespaces of the targets; below HWY_ONCE. */
#define TESSIVAR_KERNEL(name, targetFunction) \
    HWY_EXPORT (targetFunction);              \
    constinit const decltype (name) name      \
    {                                         \
        HWY_DISPATCH_TABLE (targetFunction)   \
    }

} // namespace tessivar::kernels
