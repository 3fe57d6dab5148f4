# SPDX-License-Identifier: Apache-2.0
# CPack runs this between installing the components and packing them.
execute_process(COMMAND ${CPACK_TEKO_FINISH} ${CPACK_TEMPORARY_DIRECTORY} ${CPACK_TEKO_ARGUMENTS}
  COMMAND_ERROR_IS_FATAL ANY)
