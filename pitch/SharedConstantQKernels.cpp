#include "pitch/SharedConstantQKernels.h"

#include "support/runtime/SharedDesigns.h"

namespace qel::core {

std::shared_ptr<const ConstantQKernel> SharedConstantQKernels::Find(const ConstantQDesign& design) {
    static auto& table = *new SharedDesigns<ConstantQDesign, ConstantQKernel, kHeld>;
    return table.Find(design);
}

} // namespace qel::core
