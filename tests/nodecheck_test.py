#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""A small node with one defect at a time, and the check of nodecheck that finds it. Without a defect, and with
our node, no check fails.

usage: nodecheck_test.py NODE BROKEN_NODE PLAIN_MODEL BUILD NODECHECK...
  (BUILD: plain, address, thread or emulator; an emulator stands before the program where there is one)
"""
import concurrent.futures
import os
import re
import shutil
import xml.etree.ElementTree

from programs import Program, arguments, check, finish, work, write

NODE, BROKEN, MODEL, BUILD, *COMMAND = arguments
NODECHECK = Program(*COMMAND)
PLAIN = os.path.dirname(MODEL)
CRASH = r'crashed \(\w.*\) at 0x\w+, in the guard page \d+ bytes '
REQUEST = r' during process-request of request \d+ \(\d+x\d+, pitch \d+\)\n(       in .*\n)*'

# The defect, the check that finds it, the rest of its line.
DEFECTS = [
    ('trusts_table', 'entry.null', 'crashed .* during the entry with a null table'),
    ('fills_smaller_table', 'entry.refused', '.*(expected byte 0 and later|during the entry)'),
    ('fills_create_only', 'entry.callbacks', '.*callbacks empty: pGetCapabilities, .*pPostPipelineCreate$'),
    ('writes_behind_callbacks', 'entry.table', '.*expected byte 88 and later as they were, saw them changed'),
    ('crashes_on_null', 'records.null', 'crashed .* during create of a null record'),
    ('trusts_session', 'records.session', '.*without a session .*(expected an error, saw success|during)'),
    ('accepts_short', 'records.short', r'.*(expected an error, saw success|during .* of \d+ bytes)'),
    ('changes_refused', 'records.short', '.*expected an unchanged record, saw a change'),
    ('names_twice', 'tags.declared', 'other.node/Passes: expected once, saw twice'),
    ('publishes_twice', 'requests.plain', 'request 1: expected at most one publication, saw 2'),
    ('publishes_late', 'requests.plain', 'destroy: expected .* publications until process-request returns, saw 1'),
    ('wrong_session', 'requests.plain', 'request 1: expected calls for its session, .*, saw [1-9]'),
    ('undeclared_tag', 'requests.plain', 'request 1: published that tag 0x80990000 is unknown'),
    ('forgets_record', 'tags.published', 'request 49: expected .* as with plain requests, saw no publication'),
    ('insists', 'tags.refused', 'request 1: expected at most one publication, saw 2'),
    ('reads_past_tags', 'tags.values', CRASH + 'behind the value of the face rectangles' + REQUEST),
    ('writes_tag', 'tags.values', 'request 1: the node changed the value of the face rectangles, byte 0'),
    ('writes_before_tag', 'tags.values', 'request 1: the node changed the value of the face rectangles, byte -4'),
    ('reads_past_planes', 'requests.sizes',
     CRASH + "behind the input's plane 0" + REQUEST + r'       in broken_node.so\+0x\w+ \(.*\)\n'),
    ('writes_input', 'requests.kept', "request 1: the node changed the input's plane 0 at row 0, byte 0"),
    ('writes_padding', 'requests.kept', "request 1: the node changed the padding of the input's plane 0 at row 0"),
    ('changes_request', 'requests.kept', "request 1: the node changed the request's record"),
    ('reads_later', 'requests.returned', r"crashed .* in the input's plane 0, after the return of process-request"),
    ('trusts_pitch', 'requests.malformed', CRASH + "behind the input's plane 0" + REQUEST),
    ('trusts_planes', 'requests.malformed', 'crashed .*' + REQUEST),
    ('trusts_buffers', 'requests.malformed', 'crashed .*' + REQUEST),
    ('needs_rising_numbers', 'requests.frame_numbers', '.*saw no publication'),
    ('needs_few_faces', 'requests.random', 'crashed .*' + REQUEST),
    ('hangs', 'requests.plain', 'hung for 4 s during destroy', '4'),
    ('hangs_in_pass', 'life.in_pass', 'hung for 4 s during destroy', '4'),
    ('leaks_thread', 'life.many', 'threads between two lives: expected at most [1-9], saw ', '4'),
    ('leaks_descriptor', 'life.many', 'open descriptors between two lives: expected at most '),
    ('models_at_once', 'life.two_nodes', r'calls of a model: expected one at a time, saw \d+ overlap'),
    ('waits_for_model', 'models.slow', r'the longest request: expected at most 400 ms, saw \d{3,}'),
    ('gives_up', 'models.failing', ".*expected a call of it, saw none", '8'),
    ('closes_descriptors', 'process.kept', r'descriptor \d+: expected it kept, saw it gone'),
    ('ignores_signal', 'process.kept', 'signal Broken pipe: expected default, saw ignored'),
    ('changes_directory', 'process.kept', 'working directory: expected .*, saw /$'),
    ('changes_environment', 'process.kept', 'variable ZY_DEFECT_SEEN: expected none, saw yes'),
    ('leaves_child', 'requests.plain', 'left child processes behind: 1'),
    ('exits', 'requests.plain', 'ended the process with status 0 during destroy'),
    ('exits_like_a_check', 'requests.plain', 'ended the process with status 87 during destroy'),
    ('kills_group', 'requests.plain', r'crashed \(Terminated\) during destroy'),
    ('exits_at_end', 'entry.callbacks', 'ended the process with status 0 during the end of the process'),
    ('imitates', 'requests.plain', "the node printed a line like nodecheck's own: ok   all\n     [|] ok   all\n"),
    ('leaks_memory', 'life.many', '(KiB of resident memory: expected at most|.*during the end of)'),
]
# An emulator hides child processes and the resident memory. The thread sanitizer ends a process in its own ways.
UNSEEN = {'emulator': ('leaves_child', 'leaks_memory'), 'thread': [row[0] for row in DEFECTS]}


def expect(status, pattern, *options, defect=''):
    # A limit that a busy machine can meet.
    out = NODECHECK.run(status, '--limit 400', *options, ZY_DEFECT=defect).out
    check(re.search(pattern, out, re.MULTILINE), f'{defect} {options}: no {pattern!r} in\n{out[-3000:]}')
    return out


def finds(defect, check, pattern, timeout='60'):
    if pattern.startswith('crashed'):  # the address sanitizer ends the process before a crash handler runs
        pattern = rf'({pattern}|ended the process with status 1 during (.*\n)*     \| .*Sanitizer)'
    expect(1, f'^FAIL {check}: {pattern}', BROKEN, '--filter', check, '--timeout', timeout, defect=defect)


def behaving_nodes(count):
    every = rf'^{count} checks: {count} ok, 0 failed, 0 skipped, 0 not run$'
    without_models = rf'^{count} checks: {count - 2} ok, 0 failed, 2 skipped, 0 not run$'
    return [(expect, 0, every, NODE), (expect, 0, every, BROKEN),
            (expect, 0, 'skip models.slow: libQVFD_AgeGender.so has no zy_', NODE, '--device', PLAIN,
             '--filter', 'models.'),
            (lambda: expect(0, without_models, BROKEN, defect='modest'),),
            (expect, 0, r'^ +requests .*\n(.*\n){9} +20000 .*\nok   soak', NODE, '--soak', '20000', '--lives', '55'),
            (expect, 0, '^ +20000 .*\nok   soak', BROKEN, '--soak', '20000', '--lives', '50'),
            (expect, 0, r'\Aok   life.at_once\n\Z', NODE, '--here', 'life.at_once'),
            (Program('env', '--ignore-signal=CHLD', *COMMAND).run, 0, NODE, '--here', 'entry.null'),
            (Program('sh', '-c', 'exec "$@" >/dev/full', 'sh', *COMMAND).run, 1, NODE, '--here', 'entry.null')]


def failing_nodes(count):
    cause = 'requests.plain: request 1: expected success, saw 1$'

    def writes_junit():
        expect(1, rf'FAIL {cause}(.*\n)*{count} checks: . ok, 1 failed, 0 skipped, [12].* not run$', BROKEN,
               '--junit junit.xml', defect='refuses')
        cases = xml.etree.ElementTree.parse('junit.xml').findall('testcase')
        check(len(cases) == count and sum(case.find('failure') is not None for case in cases) == 1, 'other results')
    return [(writes_junit,),
            (lambda: expect(1, f'^not run life.many: {cause}', BROKEN, '--filter life.many', defect='refuses'),),
            (lambda: expect(1, '^FAIL soak: request .*: expected .*, saw no publication', BROKEN, '--soak 1000',
                            defect='forgets_record'),),
            (lambda: expect(1, '^FAIL soak: hung for 4 s during destroy', BROKEN, '--soak 1000 --timeout 4',
                            defect='hangs_in_pass'),)]


def bad_input():
    write('text.so', 'no library')
    NODECHECK.bad(1, 'missing.so', says='missing.so')
    NODECHECK.bad(1, 'text.so', says='text.so')
    NODECHECK.bad(1, MODEL, says='no ChiNodeEntry')
    NODECHECK.bad(1, NODE, '--device .', says="none of the device's libraries")
    shutil.copy('text.so', 'liblog.so')
    NODECHECK.bad(1, NODE, '--device .', says='liblog.so')
    shutil.copy(MODEL, 'liblog.so')
    NODECHECK.bad(1, NODE, '--device .', says='its soname is not liblog.so',
                  LD_LIBRARY_PATH=f'{os.environ.get("LD_LIBRARY_PATH", "")}:{work}')
    NODECHECK.bad(2, NODE, '--filter nonsense', says="no check's name")
    NODECHECK.bad(2, '--soak 1000 10', NODE, says='--lives M')
    for options in ('', f'{NODE} --limit 0', f'{NODE} --soak 0', f'{NODE} --nonsense'):
        NODECHECK.bad(2, options, says='see nodecheck --help')
    NODECHECK.run(0, '--help')


with concurrent.futures.ThreadPoolExecutor(8) as pool:
    number = len(expect(0, '^life.many', '--list').splitlines())
    jobs = behaving_nodes(number) + failing_nodes(number) + [(bad_input,)]
    jobs += [(finds, *row) for row in DEFECTS if row[0] not in UNSEEN.get(BUILD, ())]
    for job in [pool.submit(*job) for job in jobs]:
        job.result()
finish('nodecheck finds every defect')
