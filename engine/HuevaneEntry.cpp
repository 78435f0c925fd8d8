// The library's exported entry points.
#include "HuevaneImplColorMode.h"
#include "HuevaneImplUtil.h"
#include "HuevaneImplementation.h"
#include "IHuevane.h"

IHuevane* IHuevane::createInstance(uint32_t id) {
    return new HuevaneImplementation(id);
}

extern "C" IHuevane* createInstance(uint32_t id) {
    if (!HuevaneImplUtil::isExist(HuevaneImplColorMode::getXmlNames(id))) return nullptr;
    return new HuevaneImplementation(id);
}

extern "C" void destroyInstance(IHuevane* object) {
    delete object;
}
