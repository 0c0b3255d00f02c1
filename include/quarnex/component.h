// Offers the library as component classes, for hosts that create objects by name and call them by dispatch.
// On Windows a server DLL does the same with the component model of the system.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "quarnex/export.h"
#include "quarnex/quarn_socket.h"

namespace quarnex {

/// A parameter or a result of a call by dispatch: nothing, a truth value, a number or a text. Parameters are
/// converted to the type of the method as Windows converts variants: any number but 0 is true, true is -1,
/// nothing is 0 or "", texts are read as numbers, and fractions are rounded to the even neighbour.
using ComponentValue = std::variant<std::monostate, bool, std::int16_t, std::int32_t, double, std::string>;

/// A class that the server makes objects of. All objects share the links of the process.
struct ComponentClass;
/// "Quarnex.QuarnSocket" with the 15 methods (interface `_QuarnSocket`).
QUARNEX_API const ComponentClass& quarnSocketClass();
/// "Quarnex.QuarnAnswers" with the loop and the methods in English, whose results are JSON as in `quarn rpc`
/// (interface `_QuarnAnswers`).
QUARNEX_API const ComponentClass& quarnAnswersClass();

/// One text of a registry of classes: the value `name` of `key`, "" for the unnamed one.
struct RegistryEntry {
  std::string key, name, text;
};

/// What registration enters for a server at the path `module`: both classes with their programmatic names,
/// the interfaces, and the type library Quarnex 1.0. Keys have the form "CLSID\{...}\InprocServer32".
QUARNEX_API std::vector<RegistryEntry> registryEntries(const std::string& module);

/// A registry of classes on systems that have none.
class QUARNEX_API ClassRegistry {
 public:
  void set(const RegistryEntry& entry) { texts_[{entry.key, entry.name}] = entry.text; }
  void remove(const RegistryEntry& entry) { texts_.erase({entry.key, entry.name}); }
  /// The text of the value `name` of `key`, nullptr if there is none.
  const std::string* find(const std::string& key, const std::string& name = "") const;

 private:
  std::map<std::pair<std::string, std::string>, std::string> texts_;
};

/// Owns the library behind the objects of all servers: made for the first object, ended with the last one.
/// An instance of `QuarnSocket` counts like an object.
class QUARNEX_API LibraryOwner {
 public:
  virtual ~LibraryOwner() = default;
  /// The library, which is made if there is none.
  virtual Library& library() = 0;
  /// Ends the library and its links, if there is one. Called without any object or instance.
  virtual void end() = 0;
  /// True while there is an object or an instance.
  virtual bool inUse() const = 0;

  /// A share for each class object, object and lock.
  std::shared_ptr<void> uses = std::make_shared<char>();
};

/// Owns the process's own library.
QUARNEX_API LibraryOwner& processOwner();

/// One object of a class.
class QUARNEX_API DispatchObject {
 public:
  DispatchObject(const ComponentClass& made, LibraryOwner& owner);
  /// Ends the library if this was the last object.
  ~DispatchObject();
  DispatchObject(const DispatchObject&) = delete;
  DispatchObject& operator=(const DispatchObject&) = delete;

  /// The identifier of a method, for `invoke`. Upper and lower case are the same. Failure 438 if there is
  /// none.
  std::int32_t dispatchIdOf(std::string_view name) const;

  /// Calls a method. Failure 438 for an unknown method, 450 for a wrong number of parameters, 13 for a
  /// parameter that cannot be converted, 6 for a number that does not fit; otherwise throws like the method.
  ComponentValue invoke(std::int32_t dispatchId, const std::vector<ComponentValue>& parameters);
  ComponentValue invoke(std::string_view name, const std::vector<ComponentValue>& parameters);

 private:
  const ComponentClass& class_;
  LibraryOwner& owner_;
  std::shared_ptr<void> use_;
  std::unique_ptr<QuarnSocket> quarn_;
};

/// Makes objects of one class.
class QUARNEX_API ClassFactory {
 public:
  ClassFactory(const ComponentClass& made, LibraryOwner& owner)
      : class_(made), owner_(owner), use_(owner.uses) {}

  /// Failure 429 on another thread than that of the objects so far: their links belong to one thread, and two
  /// libraries of a process could not use the same ports.
  std::unique_ptr<DispatchObject> createInstance() const;

 private:
  const ComponentClass& class_;
  LibraryOwner& owner_;
  std::shared_ptr<void> use_;
};

/// The four entry points of an in-process server.
class QUARNEX_API ComponentServer {
 public:
  explicit ComponentServer(LibraryOwner& owner = processOwner()) : owner_(owner) {}

  /// Enter both classes into the registry, or take them out. Both may be repeated.
  static void registerServer(ClassRegistry& registry, const std::string& module);
  static void unregisterServer(ClassRegistry& registry, const std::string& module);

  /// The factory of a registered class, by its programmatic name or by its identifier "{...}". Failure 429 if
  /// it is not registered or not one of this server.
  std::unique_ptr<ClassFactory> classObject(const ClassRegistry& registry, const std::string& name) const;

  /// True if there is no class object, no object and no instance in the process. Then no link is left, and no
  /// timer.
  bool canUnload() const;

 private:
  LibraryOwner& owner_;
};

}  // namespace quarnex
