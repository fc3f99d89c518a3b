# The tables of operators have one text, in their heading. Doxygen asks for a text per operator: a reference to the heading.
s/^(KIV_EXPORT (inline )?itcN[A-Za-z]+& operator(<<|>>)\(.* v\)( \{.*\}|;))$/\1 \/\/\/< See the heading of this table./
