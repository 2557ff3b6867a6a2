# Runs qvshade in tests/data/qvshade and compares what it writes with the files there.
#
#   cmake -DQVSHADE=<program, a list> -DVERSION=<its version> -DEMULATED=<boolean> -DOUTPUT=<folder>
#         -P qvshade_test.cmake
set(data "${CMAKE_CURRENT_LIST_DIR}/../data/qvshade")
file(REMOVE_RECURSE "${OUTPUT}")
file(MAKE_DIRECTORY "${OUTPUT}")

function(compare file)
  set(expected "${data}/${file}")
  if(NOT EXISTS "${expected}")
    set(expected "${OUTPUT}/nothing")
    file(WRITE "${expected}" "")
  endif()
  execute_process(COMMAND "${CMAKE_COMMAND}" -E compare_files "${expected}" "${OUTPUT}/${file}"
                  RESULT_VARIABLE different)
  if(different)
    execute_process(COMMAND diff -u "${expected}" "${OUTPUT}/${file}")
    message(SEND_ERROR "${file} differs")
  endif()
endfunction()

# Standard output must be the file NAME.out, standard error NAME.err; a missing one means nothing.
function(run name status)
  execute_process(
    COMMAND ${QVSHADE} ${ARGN}
    WORKING_DIRECTORY "${data}"
    OUTPUT_FILE "${OUTPUT}/${name}.out"
    ERROR_FILE "${OUTPUT}/${name}.err"
    RESULT_VARIABLE result)
  if(NOT result STREQUAL status)
    message(SEND_ERROR "${name}: status ${result} where ${status} was expected")
  endif()
  compare(${name}.out)
  compare(${name}.err)
endfunction()

run(check 0 check base.qvs shades.qvs)
run(check_library 0 check -l base.qvs shades.qvs)
run(check_broken 1 check base.qvs broken.qvs)
run(check_missing 1 check nowhere.qvs)
run(check_folder 1 check .)
run(list 0 list -l base.qvs shades.qvs)
run(list_name 0 list -l base.qvs shades.qvs shade)
run(list_signature 0 list base.qvs "operator*(float3, float3)")
run(list_unknown 3 list base.qvs shade)

run(graph 0 graph --library base.qvs shades.qvs halves)
run(graph_freqs 0 graph -l base.qvs shades.qvs "shade(float3,float3,float3)" --freqs)
run(graph_types 0 graph -l base.qvs shades.qvs "shade( float3, float )" --types)
run(graph_declared 0 graph base.qvs dot)
run(graph_ambiguous 3 graph -l base.qvs shades.qvs shade)
run(graph_unknown 3 graph -l base.qvs shades.qvs "shade(float)")

run(expand 0 expand -l base.qvs shades.qvs "shade(float3,float3,float3)" --freqs)
run(expand_declared 0 expand base.qvs dot)
run(expand_partial 3 expand -l base.qvs partial.qvs uses)
run(order 0 order -l base.qvs shades.qvs "shade(float3,float3,float3)")
run(order_fast 0 order -l base.qvs shades.qvs "shade(float3,float3,float3)" --fast)
run(order_outputs 0 order -l base.qvs shades.qvs halves --optimal)
run(order_unneeded 0 order -l base.qvs partial.qvs forgets)
run(order_declared 0 order base.qvs dot)
run(stats 0 stats -l base.qvs shades.qvs)
run(stats_partial 3 stats -l base.qvs partial.qvs)

execute_process(COMMAND ${QVSHADE} --version OUTPUT_VARIABLE version)
if(NOT version STREQUAL "qvshade ${VERSION}\n")
  message(SEND_ERROR "--version prints '${version}'")
endif()

run(help 0 check --help)
run(no_command 2)
run(bad_command 2 draw base.qvs)
run(bad_option 2 check base.qvs --types)
run(bad_count 2 graph base.qvs)
run(bad_value 2 graph base.qvs dot -o)
run(bad_ending 4 graph base.qvs dot -o dot.jpg)
run(bad_folder 4 graph base.qvs dot -o nowhere/dot.dot)

# The text in a file is the text on standard output, also where Graphviz would not take the name.
run(nothing 0 graph -l base.qvs shades.qvs operator- -o "${OUTPUT}/operator.dot")
compare(operator.dot)
if(EMULATED)
  run(no_dot 4 graph base.qvs dot -o dot.svg)
else()
  find_program(dot dot)
  if(dot)
    run(nothing 0 graph -l base.qvs shades.qvs operator- -o "${OUTPUT}/it's.SVG")
    run(nothing 0 graph -l base.qvs shades.qvs operator- -o "${OUTPUT}/operator.png")
    file(READ "${OUTPUT}/it's.SVG" svg)
    file(READ "${OUTPUT}/operator.png" png LIMIT 8 HEX)
    if(NOT svg MATCHES "<title>operator&#45;</title>" OR NOT png STREQUAL "89504e470d0a1a0a")
      message(SEND_ERROR "the drawn pictures are not those of the graph")
    endif()
  endif()
  set(ENV{PATH} "${OUTPUT}")
  run(no_dot 4 graph base.qvs dot -o dot.svg)
endif()
