# Records, forms and panel.
add_library(nexo_olap STATIC
  ${CMAKE_CURRENT_SOURCE_DIR}/OlapCodes.h
  ${CMAKE_CURRENT_SOURCE_DIR}/cDDXOlapReportField.h
  ${CMAKE_CURRENT_SOURCE_DIR}/cDDXOlapReport.h ${CMAKE_CURRENT_SOURCE_DIR}/cDDXOlapReport.cpp
  ${CMAKE_CURRENT_SOURCE_DIR}/frmOlapReportForms.h ${CMAKE_CURRENT_SOURCE_DIR}/frmOlapReportForms.cpp
  ${CMAKE_CURRENT_SOURCE_DIR}/frmOlapReport.h ${CMAKE_CURRENT_SOURCE_DIR}/frmOlapReport.cpp
  ${CMAKE_CURRENT_SOURCE_DIR}/SqlHighlighter.h ${CMAKE_CURRENT_SOURCE_DIR}/SqlHighlighter.cpp
  ${CMAKE_CURRENT_SOURCE_DIR}/OlapRun.h ${CMAKE_CURRENT_SOURCE_DIR}/OlapRun.cpp
  ${CMAKE_CURRENT_SOURCE_DIR}/PreviewExport.h ${CMAKE_CURRENT_SOURCE_DIR}/PreviewExport.cpp
  ${CMAKE_CURRENT_SOURCE_DIR}/OLAPReports.h ${CMAKE_CURRENT_SOURCE_DIR}/OLAPReports.cpp)
target_include_directories(nexo_olap PUBLIC ${CMAKE_CURRENT_SOURCE_DIR})
target_link_libraries(nexo_olap PUBLIC nexo_core nexo_olap_preview nexo_olap_source nexo_olap_engine PRIVATE Qt6::Concurrent)
