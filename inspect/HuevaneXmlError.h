// libxml2 2.12 made the structured error callback take a const error; both forms compile here.
#ifndef HUEVANE_INSPECT_HUEVANEXMLERROR_H
#define HUEVANE_INSPECT_HUEVANEXMLERROR_H

#include <libxml/xmlerror.h>
#include <libxml/xmlversion.h>

#if LIBXML_VERSION >= 21200
using HuevaneXmlErrorPtr = const xmlError*;
#else
using HuevaneXmlErrorPtr = xmlError*;
#endif

#endif  // HUEVANE_INSPECT_HUEVANEXMLERROR_H
