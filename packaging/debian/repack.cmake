# SPDX-License-Identifier: Apache-2.0
# CPack runs this when the packages are there.
execute_process(COMMAND ${CPACK_TEKO_REPACK} ${CPACK_PACKAGE_FILES} COMMAND_ERROR_IS_FATAL ANY)
