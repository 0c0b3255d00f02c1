// Knows the file of the server and the type library in it.
#pragma once

#include <string>
#include <string_view>

#include <windows.h>

#include <oleauto.h>

namespace quarnex {

/// Path of the server's file.
std::wstring modulePath();

/// Keeps the server's file loaded until the process ends.
void keepLoaded();

/// The description of an interface, by its identifier "{...}".
HRESULT typeInfoOf(std::string_view interfaceIdentifier, ITypeInfo** info);

/// "{...}" as an identifier of the system.
GUID guidOf(std::string_view identifier);

}  // namespace quarnex
