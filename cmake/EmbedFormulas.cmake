# Writes OUTPUT: a C++ source holding the text of every formula file in FILES
# (sorted by name), so that the shipped library loads without finding files.
#   cmake -DOUTPUT=... -DFILES="a.fx;b.fx" -P EmbedFormulas.cmake
set(body "")
set(count 0)
list(SORT FILES)
foreach(file IN LISTS FILES)
  file(READ "${file}" text)
  string(FIND "${text}" ")fx_text\"" clash)
  if(NOT clash EQUAL -1)
    message(FATAL_ERROR "${file} holds the embedding's raw-string delimiter")
  endif()
  get_filename_component(name "${file}" NAME)
  string(APPEND body "    {\"formulas/${name}\", R\"fx_text(${text})fx_text\"},\n")
  math(EXPR count "${count} + 1")
endforeach()
if(count EQUAL 0)
  set(body "    {nullptr, nullptr},\n")
endif()
file(WRITE "${OUTPUT}.tmp"
"// Generated from formulas/*.fx by cmake/EmbedFormulas.cmake; do not edit.
#include \"formula/shipped.h\"

namespace fenxi::formula {

const ShippedFile kShippedFiles[] = {
${body}};
const int kShippedFileCount = ${count};

}  // namespace fenxi::formula
")
file(COPY_FILE "${OUTPUT}.tmp" "${OUTPUT}" ONLY_IF_DIFFERENT)
file(REMOVE "${OUTPUT}.tmp")
