// Keys of the name index.
#include "engine/nameindex.h"

namespace corvane {

std::string nameKey(const Text& name) {
    if (name.length() > shortTextCapacity) return nameKey(name.copy(1, shortTextCapacity));
    if (!name.hasHighBytes()) return name.low();
    return name.low() + '\x01' + name.high();
}

}  // namespace corvane
