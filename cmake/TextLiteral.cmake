# cmake -D TEXT=page.js -D OUTPUT=page.js.inc -P TextLiteral.cmake
# Turns a text file into a literal of C++.
file(READ "${TEXT}" text)
string(FIND "${text}" ")text\"" end)
if(NOT end EQUAL -1)
  message(FATAL_ERROR "${TEXT}: holds the end of the literal that it becomes")
endif()
file(WRITE "${OUTPUT}" "R\"text(${text})text\"\n")
