# The cube engine: pure computation over rows handed to it, no database and no widgets.
# Formula facts are evaluated by muparser.
find_package(PkgConfig REQUIRED)
pkg_check_modules(MUPARSER REQUIRED IMPORTED_TARGET muparser)
add_library(nexo_olap_engine STATIC
  ${CMAKE_CURRENT_SOURCE_DIR}/Pivot.h ${CMAKE_CURRENT_SOURCE_DIR}/Pivot.cpp
  ${CMAKE_CURRENT_SOURCE_DIR}/PivotFormula.h ${CMAKE_CURRENT_SOURCE_DIR}/PivotFormula.cpp)
target_include_directories(nexo_olap_engine PUBLIC ${CMAKE_CURRENT_SOURCE_DIR})
# The date formats only (a header): rows come with dates in the database's stored form.
target_include_directories(nexo_olap_engine PRIVATE ${PROJECT_SOURCE_DIR}/connection)
target_link_libraries(nexo_olap_engine PUBLIC Qt6::Core PRIVATE PkgConfig::MUPARSER)
