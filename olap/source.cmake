# A report's SQL source read into the cube over the read-only link: grouped by the engine
# where the facts allow it, streamed otherwise.
add_library(nexo_olap_source STATIC
  ${CMAKE_CURRENT_SOURCE_DIR}/OlapSource.h ${CMAKE_CURRENT_SOURCE_DIR}/OlapSource.cpp)
target_include_directories(nexo_olap_source PUBLIC ${CMAKE_CURRENT_SOURCE_DIR})
target_link_libraries(nexo_olap_source PUBLIC nexo_olap_engine nexo_connection)
