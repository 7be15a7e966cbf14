"""Reads a file of messages."""

from collections import namedtuple

FIELDS_PER_RECORD = 14

Message = namedtuple("Message", "name slice_length elapsed slice_id records")
Record = namedtuple("Record", "type minimum maximum count sum sum_of_squares average "
                    "lasts_minimum lasts_maximum lasts_count lasts_sum lasts_sum_of_squares "
                    "lasts_average")


def frames(path):
    with open(path, "rb") as file:
        data = file.read()
    position = 0
    while position < len(data):
        colon = data.index(b":", position)
        length = data[position:colon]
        assert length.isdigit() and str(int(length)).encode() == length, length
        end = colon + 1 + int(length)
        assert data[end:end + 1] == b"\n", "no newline behind the message"
        yield data[colon + 1:end]
        position = end + 1


def parse(frame):
    fields = frame.decode().split("\x01")
    assert fields.pop() == "", "the last field does not end with its mark"
    name, slice_length, elapsed, slice_id = fields[:4]
    records = {}
    fields = fields[4:]
    assert len(fields) % FIELDS_PER_RECORD == 0, len(fields)
    for start in range(0, len(fields), FIELDS_PER_RECORD):
        record_name, *numbers = fields[start:start + FIELDS_PER_RECORD]
        assert record_name not in records, record_name
        records[record_name] = Record(*map(float, numbers))
    return Message(name, float(slice_length), float(elapsed), int(slice_id), records)


def read(path):
    return [parse(frame) for frame in frames(path)]
