# The library's sources, floor by floor: each floor is compiled seeing only its own headers and
# those of the floors below it. Android.bp carries the same lists: keep them in step.
set(HUEVANE_CORE_SOURCES
    ${CMAKE_CURRENT_LIST_DIR}/../core/HuevaneCrc16.cpp
    ${CMAKE_CURRENT_LIST_DIR}/../core/HuevaneCrc16Fold.cpp
    ${CMAKE_CURRENT_LIST_DIR}/../core/HuevaneImplUtil.cpp
    ${CMAKE_CURRENT_LIST_DIR}/../core/HuevaneDataLut.cpp
    ${CMAKE_CURRENT_LIST_DIR}/../core/HuevaneText.cpp
    ${CMAKE_CURRENT_LIST_DIR}/../core/HuevaneDecimal.cpp
    ${CMAKE_CURRENT_LIST_DIR}/../core/HuevaneMatrixText.cpp
    ${CMAKE_CURRENT_LIST_DIR}/../core/HuevaneParcel.cpp
    ${CMAKE_CURRENT_LIST_DIR}/../core/HuevaneParcelReader.cpp
    ${CMAKE_CURRENT_LIST_DIR}/../core/HuevaneDeviceFile.cpp
)
set(HUEVANE_COLORMODE_SOURCES
    ${CMAKE_CURRENT_LIST_DIR}/../colormode/HuevaneImplColorMode.cpp
    ${CMAKE_CURRENT_LIST_DIR}/../colormode/HuevaneImplColorModeXmlBase.cpp
    ${CMAKE_CURRENT_LIST_DIR}/../colormode/HuevaneImplColorModeXml.cpp
    ${CMAKE_CURRENT_LIST_DIR}/../colormode/HuevaneImplColorModeXmlLuts.cpp
    ${CMAKE_CURRENT_LIST_DIR}/../colormode/HuevaneImplColorModeXmlLists.cpp
)
set(HUEVANE_SOURCES_SOURCES
    ${CMAKE_CURRENT_LIST_DIR}/../sources/HuevaneStagedLuts.cpp
    ${CMAKE_CURRENT_LIST_DIR}/../sources/HuevaneImplMatrix.cpp
    ${CMAKE_CURRENT_LIST_DIR}/../sources/HuevaneImplTransform.cpp
    ${CMAKE_CURRENT_LIST_DIR}/../sources/HuevaneImplExtension.cpp
)
set(HUEVANE_ENGINE_SOURCES
    ${CMAKE_CURRENT_LIST_DIR}/../engine/HuevaneDataLutIndex.cpp
    ${CMAKE_CURRENT_LIST_DIR}/../engine/HuevaneImplementation.cpp
    ${CMAKE_CURRENT_LIST_DIR}/../engine/HuevaneEntry.cpp
)
# Above the engine, beside the shared library: what the library knows, for huevane-tool.
set(HUEVANE_INSPECT_SOURCES
    ${CMAKE_CURRENT_LIST_DIR}/../inspect/HuevaneInspection.cpp
)
