# tests: preview
nexo_test(tst_preview SOURCES tst_preview.cpp LIBS nexo_olap_preview)
