// The conformance suite against the real registry (Windows, or Wine).
#include "RegistryStoreConformance.h"

#include "Win32RegistryStore.h"

namespace paramcor::test {

INSTANTIATE_TEST_SUITE_P(Win32, RegistryStoreConformance,
                         ::testing::Values(StoreUnderTest{
                             "Registry", [] { return std::unique_ptr<RegistryStore>(new Win32RegistryStore()); }, {}}),
                         StoreName());

}  // namespace paramcor::test
