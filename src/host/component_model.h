// Offers the library as a component class, on systems without a component model of their own.
#pragma once

#include <cstdint>
#include <memory>
#include <set>
#include <span>
#include <string>
#include <string_view>

#include "host/method_table.h"
#include "quarnex/quarn_socket.h"

namespace quarnex {

inline constexpr std::string_view kProgrammaticName = "Quarnex.QuarnSocket";
inline constexpr std::string_view kInterfaceName = "_QuarnSocket";
inline constexpr std::string_view kTypeLibraryName = "Quarnex";
inline constexpr std::string_view kTypeLibraryVersion = "1.0";
inline constexpr std::string_view kClassIdentifier = "{6F0C5B0E-2B1D-4E57-9C0A-51D3A7A0E401}";
inline constexpr std::string_view kInterfaceIdentifier = "{6F0C5B0E-2B1D-4E57-9C0A-51D3A7A0E402}";
inline constexpr std::string_view kTypeLibraryIdentifier = "{6F0C5B0E-2B1D-4E57-9C0A-51D3A7A0E403}";

/// A registry of classes by their programmatic names.
class ClassRegistry {
 public:
  void add(std::string_view programmaticName) { names_.emplace(programmaticName); }
  void remove(std::string_view programmaticName) { names_.erase(std::string(programmaticName)); }
  bool holds(std::string_view programmaticName) const {
    return names_.contains(std::string(programmaticName));
  }

 private:
  std::set<std::string> names_;
};

/// One instance of the class, called through dispatch. It counts as in use until it is destroyed.
class DispatchObject {
 public:
  DispatchObject(Library& library, std::shared_ptr<void> use) : quarn_(library), use_(std::move(use)) {}

  /// The identifier of a method, for `invoke`; names are compared exactly. Failure 438 if there is none.
  static std::int32_t dispatchIdOf(std::string_view name);

  /// Calls a method. Failure 438 for an unknown method, 450 for a wrong number of parameters, 13 for a wrong
  /// kind; otherwise throws like the method itself.
  Value invoke(std::int32_t dispatchId, std::span<const Value> parameters);
  Value invoke(std::string_view name, std::span<const Value> parameters);

 private:
  QuarnSocket quarn_;
  std::shared_ptr<void> use_;
};

/// Makes instances. It counts as in use until it is destroyed.
class ClassFactory {
 public:
  ClassFactory(Library& library, std::shared_ptr<void> use) : library_(library), use_(std::move(use)) {}

  std::unique_ptr<DispatchObject> createInstance() const;

 private:
  Library& library_;
  std::shared_ptr<void> use_;
};

/// The four entry points of an in-process server. All instances share `library`, which outlives the server.
class ComponentServer {
 public:
  explicit ComponentServer(Library& library) : library_(library), use_(std::make_shared<int>()) {}

  /// Enter the class into the registry, or take it out. Both may be repeated.
  static void registerServer(ClassRegistry& registry) { registry.add(kProgrammaticName); }
  static void unregisterServer(ClassRegistry& registry) { registry.remove(kProgrammaticName); }

  /// The factory of a registered class. Failure 429 if `programmaticName` is not registered or not ours.
  std::unique_ptr<ClassFactory> classObject(const ClassRegistry& registry,
                                            std::string_view programmaticName) const;

  /// True if no factory and no instance is in use.
  bool canUnload() const { return use_.use_count() == 1; }

 private:
  Library& library_;
  std::shared_ptr<void> use_;  // a share for each factory and each instance
};

}  // namespace quarnex
