#pragma once

#include "AVX2LIB.h"

#include <functional>

/// Look-up of kernels in the module.
namespace kernels {

/// The address of the symbol @p name in @p module; null without a module or without that symbol.
inline void *find(const AVX2LIB *module, const char *name) { return module ? module->GetProcAddress(name) : nullptr; }

/// Binds @p slot, if it is empty, to the symbol @p name of the module; a missing module or symbol leaves it as it is.
/// Returns whether the slot is bound now. The signature of the slot is the symbol's.
template <class... Arguments>
bool bind(std::function<void(Arguments...)> &slot, const char *name)
{
    if (!slot)
        if (void *symbol = find(AVX2LIB::Instance(), name))
            slot = reinterpret_cast<void (*)(Arguments...)>(symbol);
    return static_cast<bool>(slot);
}

/// Sets @p slot to the symbol @p name of @p module, or clears it when there is none.
template <class... Arguments>
void rebind(std::function<void(Arguments...)> &slot, const AVX2LIB *module, const char *name)
{
    slot = reinterpret_cast<void (*)(Arguments...)>(find(module, name));
}

} // namespace kernels
