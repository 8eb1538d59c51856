# tests: engine
nexo_test(tst_pivot SOURCES tst_pivot.cpp LIBS nexo_olap_engine)
