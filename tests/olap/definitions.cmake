# tests: records, forms and panel
nexo_test(tst_olap DB SOURCES tst_olap.cpp LIBS nexo_olap)
