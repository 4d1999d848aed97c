"""RTP packets and native streams from 3GP files, with libqlip's host kit.

    import qlip
    for frame in qlip.open("clip.3gp").video():
        for packet in frame.packets:
            socket.sendto(packet, address)

Times are nanoseconds, as in qlip/host.h, which tells what every field means. A stream is an iterator over frames; a file
that is cut, damaged or not there yet ends the iteration with an Error that has the status and the reason.

The library is the one that QLIP_HOST_LIBRARY names, or libqlip_host.so.1 from where the system's loader finds it.
"""
from __future__ import annotations

import ctypes
import os
from collections.abc import Iterator
from dataclasses import dataclass
from typing import Optional, Union

__all__ = ["Error", "NotYet", "Frame", "Info", "Track", "State", "Source", "Stream", "open", "version"]

AUDIO, VIDEO = ord("a"), ord("v")
CODECS = ("other", "AMR-NB", "AMR-WB", "H.263", "MPEG-4 visual", "H.264", "AAC", "AMR-WB+")
STRUCTURES = ("not yet", "whole", "damaged")

_END_OF_FILE, _NOT_OPEN, _NO_SUCH_TRACK, _NOT_AVAILABLE_YET = 1, 8, 14, 17
_REASON_SIZE = 256
_REPORT_SIZE = 300


class Error(Exception):
    """What libqlip refused: `status` is a number of qlip.h, `reason` says it in words."""

    def __init__(self, status: int, reason: str):
        super().__init__(reason)
        self.status, self.reason = status, reason


class NotYet(Error):
    """Status 17: the data is not there yet. The same call gets on when the file is longer."""


@dataclass(frozen=True)
class Frame:
    """A picture or speech frame; `packets` are whole RTP packets."""

    time: int
    presentation_time: int
    duration: int
    timestamp: int
    sequence: int
    is_sync: bool
    marker: bool
    packets: tuple[bytes, ...]


@dataclass(frozen=True)
class Info:
    """What a stream delivers."""

    medium: str
    codec: str
    track_id: int
    hinted: bool
    encoding_name: str
    format_parameters: str
    payload_type: int
    clock_rate: int
    channels: int
    width: int
    height: int
    bit_rate: int
    duration: int
    sample_count: int
    ssrc: int
    first_timestamp: int
    first_sequence: int
    config: bytes


@dataclass(frozen=True)
class Track:
    """A track of a file, and in `status` and `reason` why it cannot be opened, if so."""

    id: int
    medium: str
    codec: str
    status: int
    reason: str
    duration: int
    byte_count: int
    sample_count: int
    sync_count: int
    timescale: int
    width: int
    height: int
    profile: int
    level: int
    shift: int
    hinted: bool


@dataclass(frozen=True)
class State:
    """How much of a file is there."""

    size: int
    structure: str
    structure_offset: int
    structure_size: int
    structure_first: bool
    growing: bool
    complete: bool
    needed: int


class _Record(ctypes.Structure):
    """A record of host.h that begins with its size."""

    def __init__(self, **fields):
        super().__init__(record_size=ctypes.sizeof(type(self)), **fields)


class _SourceInfo(_Record):
    _fields_ = [("record_size", ctypes.c_size_t), ("size", ctypes.c_uint64), ("structure", ctypes.c_int),
                ("structure_offset", ctypes.c_uint64), ("structure_size", ctypes.c_uint64),
                ("structure_first", ctypes.c_uint8), ("growing", ctypes.c_uint8), ("complete", ctypes.c_uint8),
                ("needed", ctypes.c_uint64)]


class _TrackInfo(_Record):
    _fields_ = [("record_size", ctypes.c_size_t), ("id", ctypes.c_uint32), ("medium", ctypes.c_int),
                ("codec", ctypes.c_int), ("status", ctypes.c_int), ("reason", ctypes.c_char_p),
                ("duration", ctypes.c_uint64), ("byte_count", ctypes.c_uint64), ("sample_count", ctypes.c_uint32),
                ("sync_count", ctypes.c_uint32), ("timescale", ctypes.c_uint32), ("width", ctypes.c_uint32),
                ("height", ctypes.c_uint32), ("profile", ctypes.c_uint32), ("level", ctypes.c_uint32),
                ("shift", ctypes.c_int64), ("hinted", ctypes.c_uint8)]


class _Options(_Record):
    _fields_ = [("record_size", ctypes.c_size_t), ("ssrc", ctypes.c_uint32), ("first_timestamp", ctypes.c_uint32),
                ("first_sequence", ctypes.c_uint16), ("payload_type", ctypes.c_uint8),
                ("keep_no_data", ctypes.c_uint8), ("chunks", ctypes.c_uint8), ("track_id", ctypes.c_uint32),
                ("error", ctypes.c_char_p), ("error_size", ctypes.c_size_t)]


class _StreamInfo(_Record):
    _fields_ = [("record_size", ctypes.c_size_t), ("medium", ctypes.c_int), ("codec", ctypes.c_int),
                ("track_id", ctypes.c_uint32), ("hinted", ctypes.c_uint8), ("encoding_name", ctypes.c_char_p),
                ("format_parameters", ctypes.c_char_p), ("payload_type", ctypes.c_uint32),
                ("clock_rate", ctypes.c_uint32), ("channels", ctypes.c_uint32), ("width", ctypes.c_uint32),
                ("height", ctypes.c_uint32), ("bit_rate", ctypes.c_uint32), ("duration", ctypes.c_uint64),
                ("sample_count", ctypes.c_uint32), ("ssrc", ctypes.c_uint32), ("first_timestamp", ctypes.c_uint32),
                ("first_sequence", ctypes.c_uint16), ("config", ctypes.c_void_p), ("config_size", ctypes.c_size_t)]


class _IoVec(ctypes.Structure):
    _fields_ = [("base", ctypes.c_void_p), ("size", ctypes.c_size_t)]


class _Frame(ctypes.Structure):
    _fields_ = [("time", ctypes.c_int64), ("presentation_time", ctypes.c_int64), ("duration", ctypes.c_uint64),
                ("timestamp", ctypes.c_uint32), ("sequence", ctypes.c_uint16), ("is_sync", ctypes.c_uint8),
                ("marker", ctypes.c_uint8), ("packet_count", ctypes.c_uint), ("packets", ctypes.POINTER(_IoVec))]


def _load() -> ctypes.CDLL:
    library = ctypes.CDLL(os.environ.get("QLIP_HOST_LIBRARY", "libqlip_host.so.1"), use_errno=True)
    status, handle, out = ctypes.c_int, ctypes.c_void_p, ctypes.c_void_p
    text, size, time = ctypes.c_char_p, ctypes.c_size_t, ctypes.c_int64
    for name, result, *arguments in (
            ("qlip_version_text", text),
            ("qlip_source_path", status, out, text),
            ("qlip_source_fd", status, out, ctypes.c_int),
            ("qlip_source_memory", status, out, ctypes.c_void_p, size),
            ("qlip_source_set_growing", status, handle, ctypes.c_int),
            ("qlip_source_wait", status, handle, ctypes.c_uint64, time),
            ("qlip_source_state", status, handle, out),
            ("qlip_source_track", status, handle, ctypes.c_uint, out),
            ("qlip_source_sync_before", status, handle, time, out),
            ("qlip_source_close", status, out),
            ("qlip_stream_open", status, out, handle, ctypes.c_int, out),
            ("qlip_stream_get_info", ctypes.POINTER(_StreamInfo), handle),
            ("qlip_stream_read", status, handle, out),
            ("qlip_stream_read_chunk", status, handle, out, out),
            ("qlip_stream_seek", status, handle, time, out),
            ("qlip_stream_set_first_timestamp", status, handle, ctypes.c_uint32),
            ("qlip_stream_error", text, handle),
            ("qlip_stream_needs", ctypes.c_uint64, handle),
            ("qlip_stream_close", status, out),
            ("qlip_stream_sdp", ctypes.c_int, handle, ctypes.c_uint, text, text, size),
            ("qlip_stream_caps", ctypes.c_int, handle, text, size),
            ("qlip_stream_timestamp", ctypes.c_uint32, handle, time),
            ("qlip_stream_sender_report", status, handle, ctypes.c_uint64, time, text, ctypes.c_void_p, out),
            ("qlip_StatusString", text, ctypes.c_int)):
        function = getattr(library, name)
        function.restype, function.argtypes = result, arguments
    return library


_library = _load()


def version() -> str:
    """The version of the library that is running."""
    return _library.qlip_version_text().decode()


def _error(status: int, reason: str = "") -> Error:
    return (NotYet if status == _NOT_AVAILABLE_YET else Error)(
        status, reason or _library.qlip_StatusString(status).decode())


def _check(status: int) -> None:
    if status != 0:
        raise _error(status)


def _plain(record: ctypes.Structure, kind):
    """A record as a dataclass of the fields that both have."""
    values = {name: getattr(record, name) for name in kind.__dataclass_fields__}
    for name, value in values.items():
        if kind.__dataclass_fields__[name].type == "bool":
            values[name] = bool(value)
        elif isinstance(value, bytes):
            values[name] = value.decode()
    if "medium" in values:
        values["medium"] = {AUDIO: "audio", VIDEO: "video"}.get(values["medium"], "other")
    if "codec" in values:
        values["codec"] = CODECS[values["codec"]] if values["codec"] < len(CODECS) else CODECS[0]
    return values


class Source:
    """The bytes of one file. Streams keep it alive for themselves, so it can be closed, or forgotten, at any time."""

    def __init__(self, handle: ctypes.c_void_p, kept: object = None):
        self._handle, self._kept = handle, kept

    def __enter__(self) -> Source:
        return self

    def __exit__(self, *_) -> None:
        self.close()

    def __del__(self) -> None:
        self.close()

    def close(self) -> None:
        _library.qlip_source_close(ctypes.byref(self._handle))

    def set_growing(self, growing: bool) -> None:
        """Says whether the file is still being written."""
        _check(_library.qlip_source_set_growing(self._handle, growing))

    def wait(self, size: int, seconds: float) -> None:
        """Waits until the file has so many bytes. NotYet when the time is up, Error when they will never come."""
        _check(_library.qlip_source_wait(self._handle, size, int(seconds * 1e9)))

    def state(self) -> State:
        record = _SourceInfo()
        _check(_library.qlip_source_state(self._handle, ctypes.byref(record)))
        return State(**{**_plain(record, State), "structure": STRUCTURES[record.structure]})

    def tracks(self) -> list[Track]:
        """All tracks but hint tracks."""
        found, record = [], _TrackInfo()
        while (status := _library.qlip_source_track(self._handle, len(found), ctypes.byref(record))) == 0:
            found.append(Track(**_plain(record, Track)))
        if status != _NO_SUCH_TRACK:
            _check(status)
        return found

    def sync_before(self, time: int) -> int:
        """The last time at or before `time` to which all streams of the file can seek."""
        sync = ctypes.c_int64()
        _check(_library.qlip_source_sync_before(self._handle, time, ctypes.byref(sync)))
        return sync.value

    def audio(self, **options: int) -> Stream:
        return self._stream(AUDIO, options)

    def video(self, **options: int) -> Stream:
        return self._stream(VIDEO, options)

    def _stream(self, medium: int, options: dict[str, int]) -> Stream:
        """Options are those of qlip_stream_options."""
        reason = ctypes.create_string_buffer(_REASON_SIZE)
        record = _Options(**options)
        record.error, record.error_size = ctypes.addressof(reason), _REASON_SIZE
        handle = ctypes.c_void_p()
        status = _library.qlip_stream_open(ctypes.byref(handle), self._handle, medium, ctypes.byref(record))
        if status != 0:
            raise _error(status, reason.value.decode())
        return Stream(handle, self._kept)


class Stream:
    """One track: an iterator over its frames, or over chunks of the native stream when opened with chunks=1."""

    def __init__(self, handle: ctypes.c_void_p, kept: object):
        self._handle, self._kept = handle, kept
        record = _library.qlip_stream_get_info(handle).contents
        values = _plain(record, Info)
        values["config"] = ctypes.string_at(record.config, record.config_size) if record.config else b""
        self.info = Info(**values)

    def __enter__(self) -> Stream:
        return self

    def __exit__(self, *_) -> None:
        self.close()

    def __del__(self) -> None:
        self.close()

    def close(self) -> None:
        _library.qlip_stream_close(ctypes.byref(self._handle))

    def __iter__(self) -> Iterator[Frame]:
        return self

    def __next__(self) -> Frame:
        frame = self.read()
        if frame is None:
            raise StopIteration
        return frame

    def read(self) -> Optional[Frame]:
        """The next frame, or None at the end of the track."""
        at = ctypes.POINTER(_Frame)()
        status = _library.qlip_stream_read(self._handle, ctypes.byref(at))
        if status == _END_OF_FILE:
            return None
        self._check(status)
        frame = at.contents
        packets = tuple(ctypes.string_at(frame.packets[i].base, frame.packets[i].size)
                        for i in range(frame.packet_count))
        return Frame(frame.time, frame.presentation_time, frame.duration, frame.timestamp, frame.sequence,
                     bool(frame.is_sync), bool(frame.marker), packets)

    def chunks(self) -> Iterator[bytes]:
        """The native stream, chunk by chunk."""
        chunk, size = ctypes.c_void_p(), ctypes.c_size_t()
        while True:
            status = _library.qlip_stream_read_chunk(self._handle, ctypes.byref(chunk), ctypes.byref(size))
            if status == _END_OF_FILE:
                return
            self._check(status)
            yield ctypes.string_at(chunk, size.value)

    def seek(self, time: int) -> int:
        """Goes to where decoding can start at or before `time`, and returns when that is."""
        landed = ctypes.c_int64()
        self._check(_library.qlip_stream_seek(self._handle, time, ctypes.byref(landed)))
        return landed.value

    def set_first_timestamp(self, first: int) -> None:
        """Another start of the timestamps to come, for a stream that is played again and runs on."""
        self._check(_library.qlip_stream_set_first_timestamp(self._handle, first))

    @property
    def needs(self) -> int:
        """How long the file must be after a NotYet."""
        return _library.qlip_stream_needs(self._handle)

    def timestamp(self, time: int) -> int:
        """The RTP timestamp of a presentation time."""
        return _library.qlip_stream_timestamp(self._handle, time)

    def sdp(self, port: int = 0, control: Optional[str] = None) -> str:
        """The media section of a session description."""
        name = None if control is None else control.encode()
        return self._text(lambda text, size: _library.qlip_stream_sdp(self._handle, port, name, text, size))

    def caps(self) -> str:
        """GStreamer's capabilities."""
        return self._text(lambda text, size: _library.qlip_stream_caps(self._handle, text, size))

    def sender_report(self, ntp: int, time: int, cname: str) -> bytes:
        """An RTCP packet that ties the stream's clock to the wall clock."""
        packet, size = ctypes.create_string_buffer(_REPORT_SIZE), ctypes.c_size_t(_REPORT_SIZE)
        self._check(_library.qlip_stream_sender_report(self._handle, ntp, time, cname.encode(), packet,
                                                       ctypes.byref(size)))
        return packet.raw[:size.value]

    def _text(self, write) -> str:
        length = write(None, 0)
        if length < 0:
            raise _error(-length)
        text = ctypes.create_string_buffer(length + 1)
        write(text, length + 1)
        return text.value.decode()

    def _check(self, status: int) -> None:
        if status != 0:
            raise _error(status, _library.qlip_stream_error(self._handle).decode())


def open(file: Union[str, os.PathLike, int, bytes], growing: bool = False) -> Source:
    """A source over a file by name, an open descriptor, or bytes. With `growing` it is still being written."""
    handle, kept = ctypes.c_void_p(), None
    if isinstance(file, bytes):
        kept = file
        status = _library.qlip_source_memory(ctypes.byref(handle), file, len(file))
    elif isinstance(file, int):
        status = _library.qlip_source_fd(ctypes.byref(handle), file)
    else:
        ctypes.set_errno(0)
        status = _library.qlip_source_path(ctypes.byref(handle), os.fsencode(file))
        if status == 3:
            raise OSError(ctypes.get_errno(), os.strerror(ctypes.get_errno()), os.fspath(file))
    _check(status)
    source = Source(handle, kept)
    source.set_growing(growing)
    return source
