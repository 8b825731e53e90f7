kel_add_gtest(tarn_ipp_shape_test SOURCES ipp/ipp_shape_test.cpp LIBS tarn_core)
kel_add_gtest(tarn_ipp_status_test SOURCES ipp/ipp_status_test.cpp ipp/hostile_texts_test.cpp ipp/ipp_alerts_test.cpp ipp/keyed_text_test.cpp ipp/reasons_test.cpp
              LIBS tarn_core)
# These two by themselves, since they replace the program's operators new and delete.
kel_add_gtest(tarn_ipp_poller_test SOURCES ipp/ipp_poller_test.cpp support/short_memory.cpp LIBS tarn_core)
kel_add_gtest(tarn_ipp_loop_test SOURCES ipp/http_loop_test.cpp support/short_memory.cpp LIBS tarn_core)
kel_add_gtest(tarn_ipp_transport_test SOURCES ipp/ipp_transport_test.cpp ipp/route_search_test.cpp LIBS tarn_core)
kel_add_gtest(tarn_ipp_http_test SOURCES ipp/http_exchange_test.cpp LIBS tarn_core)
# The test counts calls of the C library, by functions of its own that libraries find first.
kel_add_gtest(tarn_ipp_scarcity_test SOURCES ipp/transport_scarcity_test.cpp LIBS tarn_core)
set_target_properties(tarn_ipp_scarcity_test PROPERTIES ENABLE_EXPORTS ON)
kel_add_gtest(tarn_cups_queues_test SOURCES ipp/cups_queues_test.cpp LIBS tarn_core)
