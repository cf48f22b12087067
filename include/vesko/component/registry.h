#pragma once

#include "vesko/component/serverinfo.h"
#include "vesko/component/unknown.h"
#include "vesko/export.h"

/// Objects by the plain name of their class.
///
/// A class is known by a creator that was registered under its name, or by a shared library of that
/// name: "NAME.so", found by the loader's own search, with an exported creator "createNAMEObject".
/// Both texts are cut at 31 characters. A library that was loaded stays. No client and no log-in
/// takes part: a `ServerInfo` is a key here, and an argument for the creator.
/// Threads: any thread may call any function. Creators run without a lock, and may call in here. The
/// registry is locked while it loads a library: let no other thread load one meanwhile that registers
/// its classes itself.
namespace Tovra::Component {

/// Makes an object with one reference, or gives null. The argument is the one that the registry was
/// asked with, null included. What is not new stays as it is: an object that lives in a `CObjectTable`
/// is found there, and one of the registry under its first name. An instance goes into no table later,
/// and is no client: those have homes of their own.
using ComponentCreator = IUnknown* (*)(const ServerInfo*);

/// Makes a class known, or replaces its creator with a line in the log. Instances that exist stay.
/// @return true
VESKO_API bool registerComponent(const char* name, ComponentCreator creator);

/// Gives the shared instance of a class, made on first demand.
/// @param info null for the local instance; otherwise there is one for each address, port, user
///             name, password and `flag1`
/// @return the instance with a reference for the caller; null when the class is not known or its
///         creator gave nothing
[[nodiscard]] VESKO_API IUnknown* getComponentInstance(const char* name, const ServerInfo* info);

/// Makes an object that nobody else can find.
/// @return the object with one reference; null as above
[[nodiscard]] VESKO_API IUnknown* createComponentObject(const char* name, const ServerInfo* info);

}  // namespace Tovra::Component
