#include <CVLParamcor/RegistryStore.h>

namespace paramcor {

RegistryStore::~RegistryStore() = default;

}  // namespace paramcor
