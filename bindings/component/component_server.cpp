#include <algorithm>
#include <functional>
#include <thread>
#include <utility>

#include "component/component_classes.h"
#include "component/component_values.h"
#include "engine/records/library.h"
#include "quarnex/component.h"
#include "quarnex/failure.h"
#include "services/process_library.h"

namespace quarnex {
namespace {

const ComponentMethod& known(const ComponentClass& described, auto field, const auto& key,
                             const auto& equal) {
  const auto found = std::ranges::find_if(
      described.methods, [&](const ComponentMethod& method) { return equal(method.*field, key); });
  if (found == described.methods.end()) throw Failure(438, "Object doesn't support this property or method");
  return *found;
}

class ProcessOwner final : public LibraryOwner {
 public:
  Library& library() override { return processLibrary(); }
  void end() override { endProcessLibrary(); }
  bool inUse() const override {
    const Library* const library = composedLibrary();
    return library != nullptr && library->instances.use_count() > 1;
  }
};

}  // namespace

LibraryOwner& processOwner() {
  static ProcessOwner only;
  return only;
}

const std::string* ClassRegistry::find(const std::string& key, const std::string& name) const {
  const auto found = texts_.find({key, name});
  return found == texts_.end() ? nullptr : &found->second;
}

DispatchObject::DispatchObject(const ComponentClass& made, LibraryOwner& owner)
    : class_(made), owner_(owner), use_(owner.uses), quarn_(std::make_unique<QuarnSocket>(owner.library())) {}

DispatchObject::~DispatchObject() {
  quarn_.reset();
  if (!owner_.inUse()) owner_.end();
}

std::int32_t DispatchObject::dispatchIdOf(std::string_view name) const {
  return known(class_, &ComponentMethod::name, name, equalIgnoringCase).dispatchId;
}

ComponentValue DispatchObject::invoke(std::int32_t dispatchId,
                                      const std::vector<ComponentValue>& parameters) {
  const ComponentMethod& method = known(class_, &ComponentMethod::dispatchId, dispatchId, std::equal_to<>());
  if (parameters.size() != method.parameters.size()) throw Failure(450, "Wrong number of arguments");
  std::vector<Value> values;
  for (const ComponentValue& parameter : parameters)
    values.push_back(converted(parameter, method.parameters[values.size()].kind));
  return componentValue(method.call(method, *quarn_, values));
}

ComponentValue DispatchObject::invoke(std::string_view name, const std::vector<ComponentValue>& parameters) {
  return invoke(dispatchIdOf(name), parameters);
}

std::unique_ptr<DispatchObject> ClassFactory::createInstance() const {
  if (owner_.library().thread != std::this_thread::get_id())
    throw Failure(429, "Component can't create object: its links belong to another thread");
  return std::make_unique<DispatchObject>(class_, owner_);
}

void ComponentServer::registerServer(ClassRegistry& registry, const std::string& module) {
  for (const RegistryEntry& entry : registryEntries(module)) registry.set(entry);
}

void ComponentServer::unregisterServer(ClassRegistry& registry, const std::string& module) {
  for (const RegistryEntry& entry : registryEntries(module)) registry.remove(entry);
}

std::unique_ptr<ClassFactory> ComponentServer::classObject(const ClassRegistry& registry,
                                                           const std::string& name) const {
  const std::string* const named = registry.find(name + "\\CLSID");
  const std::string identifier = named != nullptr ? *named : name;
  for (const ComponentClass* described : {&quarnSocketClass(), &quarnAnswersClass()}) {
    if (equalIgnoringCase(described->identifier, identifier) &&
        registry.find("CLSID\\" + std::string(described->identifier)) != nullptr)
      return std::make_unique<ClassFactory>(*described, owner_);
  }
  throw Failure(429, "Component can't create object");
}

bool ComponentServer::canUnload() const {
  return owner_.uses.use_count() == 1 && !owner_.inUse();
}

}  // namespace quarnex
