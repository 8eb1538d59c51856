# tests: records, forms and panel
nexo_test(tst_olap DB SOURCES tst_olap.cpp LIBS nexo_olap)
# tests: who may use a report (the rights tree's tick, the viewer)
nexo_test(tst_olap_rights DB SOURCES tst_olap_rights.cpp LIBS nexo_olap)
