#pragma once

#include <cstdint>
#include <cstdio>
#include <type_traits>
#include <typeinfo>

#include "vesko/export.h"

namespace Tovra::Vesko {

namespace Detail {

/// Stores the number of the reuse delegate that runs on this thread. Called by delegates alone.
VESKO_API void setCurrentFunctionReuse(unsigned int number);

/// Stands for the class of any member function that a delegate holds.
class AnyObject;

}  // namespace Detail

/// @return the number of the last reuse delegate that was called on this thread, 0 if none was. A
///         function that runs through a reuse delegate reads its own number here.
VESKO_API unsigned int getCurrentFunctionReuse();

/// A callback: a plain function, or a member function with its object.
///
/// A delegate is a small value that is copied, compared and tested for emptiness. It owns nothing:
/// its object must outlive every call. No operation allocates. A reuse delegate is a member
/// delegate that bears a number, so that one function can serve several registrations and tell them
/// apart: see `getCurrentFunctionReuse`. `R` is void, or a type that can be value-initialised.
/// Threads: a plain value without a lock. Whoever shares one guards it.
template <class R, class... Args>
class TFunction {
    static_assert(std::is_void_v<R> || std::is_default_constructible_v<R>,
                  "a delegate that cannot be called gives a value-initialised result");

public:
    /// The kind of callable. A number from 16 on is a reuse number.
    enum Type : std::uint32_t {
        functionEmpty = 0,
        functionMember = 1,
        functionPointer = 2,
        functionReuse = 16,
        functionReuseAny = 0xFFFFFFFF
    };

    /// Makes an empty delegate.
    constexpr TFunction() noexcept = default;

    /// Names a plain function. Null makes an empty delegate.
    constexpr TFunction(R (*function)(Args...)) noexcept
        : m_function(function), m_type(function != nullptr ? functionPointer : functionEmpty) {}

    /// Names a member function of `object`, which may be of a derived class.
    template <class Class, class Object>
    TFunction(R (Class::*function)(Args...), Object* object) noexcept
        : TFunction(erase(function), static_cast<Class*>(object), functionMember,
                    typeid(object).name()) {}

    template <class Class, class Object>
    TFunction(R (Class::*function)(Args...) const, Object* object) noexcept
        : TFunction(erase(function), unconst(static_cast<const Class*>(object)), functionMember,
                    typeid(object).name()) {}

    /// Names a member function of `object` under a reuse number.
    /// @param number 16 to 0xFFFFFFFE; 0xFFFFFFFF compares equal to every reuse number and cannot
    ///               be called; a smaller number makes a delegate that cannot be called
    template <class Class, class Object>
    TFunction(R (Class::*function)(Args...), Object* object, unsigned int number) noexcept
        : TFunction(erase(function), static_cast<Class*>(object), reuseType(number),
                    typeid(object).name()) {}

    template <class Class, class Object>
    TFunction(R (Class::*function)(Args...) const, Object* object, unsigned int number) noexcept
        : TFunction(erase(function), unconst(static_cast<const Class*>(object)), reuseType(number),
                    typeid(object).name()) {}

    /// @return true when the delegate names nothing
    constexpr bool empty() const noexcept { return m_type == functionEmpty; }

    /// @return true when the delegate compares equal to every reuse number of its target
    constexpr bool isReuseAny() const noexcept { return m_type == functionReuseAny; }

    /// Calls what the delegate names.
    /// @return its result. A delegate that is empty or cannot be called says so on standard output
    ///         and gives a value-initialised result.
    R operator()(Args... arguments) const {
        switch (m_type) {
            case functionMember:
                break;
            case functionPointer:
                return m_function.plain(static_cast<Args&&>(arguments)...);
            default:
                if (!isReuse() || isReuseAny()) return reportInvalid();
                Detail::setCurrentFunctionReuse(m_type);
        }
        return (static_cast<Detail::AnyObject*>(m_object)->*m_function.member)(
            static_cast<Args&&>(arguments)...);
    }

    /// Two delegates are equal when they name the same callable: the same plain function, or the
    /// same member function of the same object under the same, or any, reuse number.
    friend bool operator==(const TFunction& a, const TFunction& b) noexcept {
        if (a.isReuse() && b.isReuse()) {
            if (!a.isReuseAny() && !b.isReuseAny() && a.m_type != b.m_type) return false;
            return a.sameMember(b);
        }
        if (a.m_type != b.m_type) return false;
        if (a.m_type == functionMember) return a.sameMember(b);
        if (a.m_type == functionPointer) return a.m_function.plain == b.m_function.plain;
        return true;
    }

    friend bool operator!=(const TFunction& a, const TFunction& b) noexcept { return !(a == b); }

private:
    using Plain = R (*)(Args...);
    using Member = R (Detail::AnyObject::*)(Args...);

    union Target {
        constexpr Target() noexcept : member(nullptr) {}
        constexpr Target(Plain function) noexcept : plain(function) {}
        constexpr Target(Member function) noexcept : member(function) {}

        Plain plain;
        Member member;
    };

    TFunction(Member function, void* object, std::uint32_t type, const char* typeName) noexcept
        : m_function(function), m_object(object), m_type(type), m_typeName(typeName) {}

    // All member functions share one form of pointer; only the class differs, and the object that
    // the call goes to is of the right one.
    template <class Function>
    static Member erase(Function function) noexcept {
        return reinterpret_cast<Member>(function);
    }

    template <class Class>
    static Class* unconst(const Class* object) noexcept {
        return const_cast<Class*>(object);
    }

    // The numbers of the other kinds would be taken for those: they become an unused one.
    static constexpr std::uint32_t reuseType(unsigned int number) noexcept {
        constexpr std::uint32_t unused = 3;
        return number <= functionPointer ? unused : number;
    }

    constexpr bool isReuse() const noexcept { return m_type >= functionReuse; }

    bool sameMember(const TFunction& other) const noexcept {
        return m_function.member == other.m_function.member && m_object == other.m_object;
    }

    R reportInvalid() const {
        std::printf("FUNCTION_FUNCTION::operator() invalid function type : %u, typeid : %s\n",
                    static_cast<unsigned int>(m_type),
                    m_typeName != nullptr ? m_typeName : "(null)");
        return R();
    }

    Target m_function{};
    void* m_object = nullptr;
    std::uint32_t m_type = functionEmpty;
    const char* m_typeName = nullptr;
};

template <class R, class A1>
using TFunction1 = TFunction<R, A1>;
template <class R, class A1, class A2>
using TFunction2 = TFunction<R, A1, A2>;
template <class R, class A1, class A2, class A3>
using TFunction3 = TFunction<R, A1, A2, A3>;
template <class R, class A1, class A2, class A3, class A4, class A5>
using TFunction5 = TFunction<R, A1, A2, A3, A4, A5>;

}  // namespace Tovra::Vesko
