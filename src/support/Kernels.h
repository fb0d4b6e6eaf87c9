#pragma once

#include "AVX2LIB.h"

#include "KernelPrototypes.h"

#include <atomic>
#include <functional>
#include <mutex>
#include <utility>

/// The symbol of the module with this name, which must be one of KernelPrototypes.h: a misspelled one does not compile.
#define KX_SYMBOL(name)                                                                                                \
    kernels::Symbol<decltype(name)> { #name }

/// How the library binds the kernels of the module.
///
/// What is bound stays bound, to the module that it came from, whatever AVX2LIB::UseModule says later; modules stay
/// loaded. What is empty is looked up again each time that it is asked for, in the module of that moment. Only the
/// composition slots change once they are bound: each loadAVX2Functions(true) sets or clears all of them.
namespace kernels {

/// A name of the module's, with the type of the function that it stands for.
template <class Function>
struct Symbol {
    const char *name;

    /// The kernel; null without a module, or where the module does not have it.
    Function *In(const AVX2LIB *module) const
    {
        return module ? reinterpret_cast<Function *>(module->GetProcAddress(name)) : nullptr;
    }
};

template <class Function>
class Slot;

/// Where the library keeps a kernel: a static object that begins empty. Any number of threads may use it at once; those
/// that look the kernel up at the same time store the same address. Once bound it costs what a function pointer costs.
template <class... Arguments>
class Slot<void(Arguments...)> {
public:
    using Function = void(Arguments...);

    /// A slot that is only ever set from outside.
    constexpr Slot() = default;

    /// A slot for @p symbol.
    constexpr explicit Slot(Symbol<Function> symbol)
        : m_symbol(symbol)
    {
    }

    /// Looks the kernel up if the slot is empty. Returns it, or null.
    Function *Bind()
    {
        if (Function *const bound = Bound())
            return bound;
        Function *const found = m_symbol.In(AVX2LIB::Instance());
        if (found)
            Set(found);
        return found;
    }

    /// Sets the slot, or clears it with null.
    void Set(Function *function) { m_function.store(function, std::memory_order_release); }

    /// What is bound, or null.
    Function *Bound() const { return m_function.load(std::memory_order_acquire); }

    explicit operator bool() const { return Bound(); }

    /// Calls what is bound; throws std::bad_function_call where nothing is.
    void operator()(Arguments... arguments) const
    {
        Function *const bound = Bound();
        if (!bound)
            throw std::bad_function_call();
        bound(std::forward<Arguments>(arguments)...);
    }

private:
    Symbol<Function> m_symbol {};
    std::atomic<Function *> m_function { nullptr };
};

template <class Function>
Slot(Symbol<Function>) -> Slot<Function>;

/// For the kernel of an adjustment, which its class shows as a public function object: sets @p function to @p symbol if
/// it is empty. Returns whether it is bound now, which is what a constructor puts into m_HasKernel. Constructors on
/// several threads take turns.
template <class... Arguments>
bool bind(std::function<void(Arguments...)> &function, Symbol<void(Arguments...)> symbol)
{
    static std::mutex mutex;
    const std::lock_guard<std::mutex> lock(mutex);
    if (!function)
        function = symbol.In(AVX2LIB::Instance());
    return static_cast<bool>(function);
}

/// The block form of an adjustment: by its kernel, or nothing at all while it has none.
template <class... Arguments, class... Given>
void call(const std::function<void(Arguments...)> &function, Given &&...given)
{
    if (function)
        function(std::forward<Given>(given)...);
}

} // namespace kernels
