# Runs tavrel-calc on a few texts, given as arguments and on standard input, and compares
# what it prints and its exit status. Called by CTest with -DCALC=<path> -DWORK=<dir>.
function(expect_run name expected_out expected_rc)
  execute_process(COMMAND ${CALC} ${ARGN}
    OUTPUT_VARIABLE out ERROR_VARIABLE err RESULT_VARIABLE rc)
  if(NOT out STREQUAL expected_out)
    message(FATAL_ERROR "${name}: output\n${out}\nexpected\n${expected_out}")
  endif()
  if(NOT rc STREQUAL expected_rc)
    message(FATAL_ERROR "${name}: exit status ${rc}, expected ${expected_rc}")
  endif()
endfunction()

expect_run(values
  "3 (SMALLINT)\n{привет мир} (STRING)\n(NULL)\nTRUE (LOGICAL)\n70001 (INTEGER)\n1.5000000000 (NUMERIC)\n31.12.2010:23:59:59.99 (DATE)\n{ 1 ff } (BYTE)\n"
  0
  "1 + 2" "\"привет\" \" мир\"" "NULL" "NOT 1 > 2" "1 + 70000" "1.5" "31.12.2010:23:59:59.99"
  "{1, 255}")

expect_run(errors
  "error 1 line 1 column 4: синтаксическая ошибка\n2 (SMALLINT)\nerror 18 line 1 column 11: неверная дата\n"
  1
  "1 2" "(2)" "31/12/2010")

file(WRITE ${WORK}/calc_input.txt "2 * 21\r\n\"a\" + 1\n-7b")
execute_process(COMMAND ${CALC} INPUT_FILE ${WORK}/calc_input.txt
  OUTPUT_VARIABLE out RESULT_VARIABLE rc)
if(NOT out STREQUAL "42 (SMALLINT)\nerror 2 line 1 column 8: ошибка несовместимости типов\n-7 (BIGINT)\n" OR NOT rc EQUAL 1)
  message(FATAL_ERROR "stdin: ${out} (exit ${rc})")
endif()

# --cp866: the Cyrillic letter "я" is the byte 0xEF in and out.
string(ASCII 34 239 34 cp866_text)
execute_process(COMMAND ${CALC} --cp866 "${cp866_text}" OUTPUT_VARIABLE out RESULT_VARIABLE rc)
string(ASCII 123 239 125 cp866_form)
if(NOT out STREQUAL "${cp866_form} (STRING)\n" OR NOT rc EQUAL 0)
  message(FATAL_ERROR "cp866: ${out} (exit ${rc})")
endif()
