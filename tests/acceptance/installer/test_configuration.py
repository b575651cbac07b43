"""MSILoadMsiPropertiesFromConfig in a real session: properties, statuses, and the box that is shown."""

import pytest

BAD_STATUS = 61015


def load(line):
    return [f"set=MSICMDLINE={line}", "call=MSILoadMsiPropertiesFromConfig", "get=REMOVEOLDERQVRS", "get=INSTALLDIR"]


def write_config(machine, content, name="norv.cfg"):
    (machine.drive_c / name).write_bytes(content)
    return f"INSTALLCFG=C:\\{name}"


@pytest.mark.parametrize("line, expected", [
    ("", ["0", ""]),
    ("REMOVEOLDERQVRS=1 INSTALLDIR=C:\\x\\", ["1", "C:\\x"]),
    ("removeolderqvrs=Enable \"installdir=C:\\with blank\"", ["1", "C:\\with blank"]),
])
def test_good_command_lines(session, line, expected):
    assert session(*load(line)) == ["call MSILoadMsiPropertiesFromConfig: 0",
                                    f"get REMOVEOLDERQVRS: {expected[0]}", f"get INSTALLDIR: {expected[1]}"]


def test_a_directory_given_to_the_installer_wins(session):
    assert session("set=INSTALLDIR=D:\\mine", *load("INSTALLDIR=C:\\x REMOVEOLDERQVRS=1"))[1:] == [
        "get REMOVEOLDERQVRS: 1", "get INSTALLDIR: D:\\mine"]


def test_a_configuration_in_japanese_characters(machine, session):
    argument = write_config(machine, "# 設定\r\nINSTALLDIR=C:\\日本語\\フォルダ\r\nREMOVEOLDERQVRS=1\r\n".encode())
    assert session(*load(argument)) == ["call MSILoadMsiPropertiesFromConfig: 0", "get REMOVEOLDERQVRS: 1",
                                        "get INSTALLDIR: C:\\日本語\\フォルダ"]
    assert "INSTALLDIR = C:\\日本語\\フォルダ" in machine.log()


@pytest.mark.parametrize("language, title, text", [
    ("en_US.UTF-8", "Norv Installation Not Completed",
     "Unable to install Norv||Configuration file C:\\norv.cfg is malformed in line 2.|"
     "Check data and formatting of the file."),
    ("zh_CN.UTF-8", "Norv 安装未完成",
     "无法安装 Norv||配置文件 C:\\norv.cfg 在行 2 中格式错误。|请检查文件的数据和格式设置。"),
])
def test_a_bad_file_shows_the_user_a_box(machine, session, display, language, title, text):
    argument = write_config(machine, b"REMOVEOLDERQVRS=1\nno such key=1\n")
    machine.language = language
    machine.extra_environment = {"DISPLAY": display}
    assert session("box", *load(argument)) == [
        f"box title: {title}", f"box text: {text}",
        f"call MSILoadMsiPropertiesFromConfig: {BAD_STATUS}", "get REMOVEOLDERQVRS: ", "get INSTALLDIR: "]


def test_a_silent_install_shows_none(machine, session, display):
    argument = write_config(machine, b"REMOVEOLDERQVRS=1\nno such key=1\n")
    machine.extra_environment = {"DISPLAY": display}
    lines = session("box", *load(f"/s {argument}"))
    assert lines[0] == f"call MSILoadMsiPropertiesFromConfig: {BAD_STATUS}"
    assert "Error occurred while loading configuration settings from CA. Exiting installer." in machine.log()


@pytest.mark.parametrize("size, status", [(1048575, 0), (1048576, BAD_STATUS)])
def test_the_largest_file_that_loads(machine, session, size, status):
    argument = write_config(machine, b"REMOVEOLDERQVRS=1\n#".ljust(size, b"x"))
    assert session(*load(f"/s {argument}"))[0] == f"call MSILoadMsiPropertiesFromConfig: {status}"
