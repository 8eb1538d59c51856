# The preview widget: the grid, page filters and chart of a computed cube, and its exports.
add_library(nexo_olap_preview STATIC
  ${CMAKE_CURRENT_SOURCE_DIR}/OlapPreview.h ${CMAKE_CURRENT_SOURCE_DIR}/OlapPreview.cpp)
target_include_directories(nexo_olap_preview PUBLIC ${CMAKE_CURRENT_SOURCE_DIR})
target_link_libraries(nexo_olap_preview PUBLIC nexo_olap_engine nexo_controls Qt6::Widgets Qt6::Charts)
