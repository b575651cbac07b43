"""MSILoadMsiPropertiesFromConfig in a real session: the box that is shown."""

import pytest

BAD_STATUS = 61015


def load(line):
    return [f"set=MSICMDLINE={line}", "call=MSILoadMsiPropertiesFromConfig", "get=REMOVEOLDERQVRS", "get=INSTALLDIR"]


def write_config(machine, content, name="norv.cfg"):
    (machine.drive_c / name).write_bytes(content)
    return f"INSTALLCFG=C:\\{name}"


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
