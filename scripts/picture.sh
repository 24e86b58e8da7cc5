# Pictures of what programs print, as a terminal shows it. Sourced by the scripts that draw them.

# For awk: begin_picture(TITLE, WIDTH, LINES) and end_picture() around text_at(X, LINE, TEXT, FILL); lines count from 1. The
# text is escaped by escaped(TEXT) first, so that it may have parts of other colours.
picture_functions='
  function escaped(text) {
    gsub(/&/, "\\&amp;", text); gsub(/</, "\\&lt;", text); gsub(/>/, "\\&gt;", text)
    return text
  }
  function begin_picture(title, width, lines,    height) {
    height = 34 + 18 * lines
    printf "<svg xmlns=\"http://www.w3.org/2000/svg\" viewBox=\"0 0 %d %d\" font-family=\"monospace\" font-size=\"13\">\n", width, height
    printf "<title>%s</title>\n", title
    printf "<rect width=\"%d\" height=\"%d\" rx=\"6\" fill=\"#1c2128\"/>\n", width, height
  }
  function line_y(line) { return 18 + 18 * line }
  function text_at(x, line, text, fill) {
    printf "<text x=\"%d\" y=\"%d\" xml:space=\"preserve\" fill=\"%s\">%s</text>\n", x, line_y(line), fill, text
  }
  function end_picture() { print "</svg>" }
'
