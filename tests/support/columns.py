"""How many columns of a terminal a text takes."""

import unicodedata


def width_of(text):
    return sum(0 if unicodedata.combining(character) else
               2 if unicodedata.east_asian_width(character) in "WF" else 1 for character in text)
