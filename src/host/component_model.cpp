#include "host/component_model.h"

#include "quarnex/failure.h"

namespace quarnex {
namespace {

const Method& known(const Method* method) {
  if (method == nullptr) throw Failure(438, "Object doesn't support this property or method");
  return *method;
}

}  // namespace

std::int32_t DispatchObject::dispatchIdOf(std::string_view name) {
  return known(findMethod(name)).dispatchId;
}

Value DispatchObject::invoke(std::int32_t dispatchId, std::span<const Value> parameters) {
  return quarnex::invoke(quarn_, known(findMethod(dispatchId)), parameters);
}

Value DispatchObject::invoke(std::string_view name, std::span<const Value> parameters) {
  return quarnex::invoke(quarn_, known(findMethod(name)), parameters);
}

std::unique_ptr<DispatchObject> ClassFactory::createInstance() const {
  return std::make_unique<DispatchObject>(library_, use_);
}

std::unique_ptr<ClassFactory> ComponentServer::classObject(const ClassRegistry& registry,
                                                           std::string_view programmaticName) const {
  if (programmaticName != kProgrammaticName || !registry.holds(programmaticName)) {
    throw Failure(429, "Component can't create object");
  }
  return std::make_unique<ClassFactory>(library_, use_);
}

}  // namespace quarnex
