# Errors and messages: the error manager, ICU messages and the message
# catalog. The catalog (messages/root.txt) is compiled with genrb, packaged
# as ICU common data and embedded in the library, so the plugin needs no
# installed data files.
find_program(ICU_PKGDATA pkgdata REQUIRED)
find_program(ICU_GENCCODE genccode REQUIRED)
set(_msg_dir ${CMAKE_CURRENT_BINARY_DIR}/messages)
set(_msg_c ${_msg_dir}/hitachifimsg_dat.c)
add_custom_command(
  OUTPUT ${_msg_c}
  COMMAND ${CMAKE_COMMAND} -E make_directory ${_msg_dir}
  COMMAND ${ICU_GENRB} -q -d ${_msg_dir} ${CMAKE_CURRENT_SOURCE_DIR}/messages/root.txt
  COMMAND ${CMAKE_COMMAND} -E echo root.res > ${_msg_dir}/list.txt
  COMMAND ${ICU_PKGDATA} -q -m common -p hitachifimsg -d ${_msg_dir} -s ${_msg_dir} ${_msg_dir}/list.txt
  COMMAND ${ICU_GENCCODE} -q -d ${_msg_dir} -n hitachifimsg ${_msg_dir}/hitachifimsg.dat
  DEPENDS ${CMAKE_CURRENT_SOURCE_DIR}/messages/root.txt
  COMMENT "Compiling the message catalog"
  VERBATIM)
set_source_files_properties(${_msg_c} PROPERTIES GENERATED TRUE COMPILE_OPTIONS "-w")
pdk_add_family(pdk_messages
  src/cfimessage.cpp
  src/cfimessagecatalog.cpp
  src/cfierrormanager.cpp
  ${_msg_c})
