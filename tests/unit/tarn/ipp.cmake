kel_add_gtest(tarn_ipp_shape_test SOURCES ipp/ipp_shape_test.cpp LIBS tarn_core)
kel_add_gtest(tarn_ipp_picture_test SOURCES ipp/ipp_picture_test.cpp ipp/ipp_alerts_test.cpp ipp/keyed_text_test.cpp
              LIBS tarn_core)
kel_add_gtest(tarn_ipp_poller_test SOURCES ipp/ipp_poller_test.cpp LIBS tarn_core)
kel_add_gtest(tarn_ipp_client_test SOURCES ipp/ipp_client_test.cpp LIBS tarn_core)
kel_add_gtest(tarn_cups_queues_test SOURCES ipp/cups_queues_test.cpp LIBS tarn_core)
