# The library's sources, in one list for the static and the shared library.
# Android.bp carries the same list: keep them in step.
set(HUEVANE_SOURCES
    ${CMAKE_CURRENT_LIST_DIR}/../engine/HuevaneImplUtil.cpp
    ${CMAKE_CURRENT_LIST_DIR}/../engine/HuevaneCrc16Fold.cpp
    ${CMAKE_CURRENT_LIST_DIR}/../engine/HuevaneDataLutIndex.cpp
    ${CMAKE_CURRENT_LIST_DIR}/../engine/HuevaneDecimal.cpp
    ${CMAKE_CURRENT_LIST_DIR}/../engine/HuevaneImplementation.cpp
    ${CMAKE_CURRENT_LIST_DIR}/../engine/HuevaneParcel.cpp
    ${CMAKE_CURRENT_LIST_DIR}/../engine/HuevaneEntry.cpp
    ${CMAKE_CURRENT_LIST_DIR}/../colormode/HuevaneImplColorMode.cpp
    ${CMAKE_CURRENT_LIST_DIR}/../colormode/HuevaneImplColorModeXmlBase.cpp
    ${CMAKE_CURRENT_LIST_DIR}/../colormode/HuevaneImplColorModeXml.cpp
    ${CMAKE_CURRENT_LIST_DIR}/../colormode/HuevaneImplColorModeXmlLuts.cpp
    ${CMAKE_CURRENT_LIST_DIR}/../colormode/HuevaneImplColorModeXmlLists.cpp
    ${CMAKE_CURRENT_LIST_DIR}/../sources/HuevaneMatrixText.cpp
    ${CMAKE_CURRENT_LIST_DIR}/../sources/HuevaneStagedLuts.cpp
    ${CMAKE_CURRENT_LIST_DIR}/../sources/HuevaneImplMatrix.cpp
    ${CMAKE_CURRENT_LIST_DIR}/../sources/HuevaneImplTransform.cpp
    ${CMAKE_CURRENT_LIST_DIR}/../sources/HuevaneImplExtension.cpp
)
