# tests: the source read into the cube, grouped by the engine against streamed
nexo_test(tst_olap_source DB SOURCES tst_olap_source.cpp LIBS nexo_olap_source)
