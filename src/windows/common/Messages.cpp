// clang-format off: each line of a message is on a line of its own.
#include "windows/common/Messages.h"

const TCHAR* msgPathTooLong(const Locale& locale) {
    static constexpr LocalizedText text{
        _T("Unable to install Norv\n\n")
        _T("The path to the install configuration file is too long.\n")
        _T("Check that the path is correct."),
        _T("Norv kann nicht installiert werden\n\n")
        _T("Der Pfad zur Konfigurationsdatei für die Installation ist zu lang.\n")
        _T("Stellen Sie sicher, dass der Pfad korrekt ist."),
        _T("Norvをインストールできません\n\n")
        _T("インストール構成ファイルへのパスが長すぎます。\n")
        _T("パスが正しいことを確認してください。"),
        _T("无法安装 Norv\n\n")
        _T("安装配置文件的路径太长。\n")
        _T("请检查该路径是否正确。")};
    return text.in(locale);
}

const TCHAR* msgPathInvalid(const Locale& locale) {
    static constexpr LocalizedText text{
        _T("Unable to install Norv\n\n")
        _T("The path to the install configuration file is invalid.\n")
        _T("Check that the path is correct."),
        _T("Norv kann nicht installiert werden\n\n")
        _T("Der Pfad zur Konfigurationsdatei für die Installation ist ungültig.\n")
        _T("Stellen Sie sicher, dass der Pfad korrekt ist."),
        _T("Norvをインストールできません\n\n")
        _T("インストール構成ファイルへのパスが無効です。\n")
        _T("パスが正しいことを確認してください。"),
        _T("无法安装 Norv\n\n")
        _T("安装配置文件的路径无效。\n")
        _T("请检查该路径是否正确。")};
    return text.in(locale);
}

const TCHAR* msgPathNotPlainText(const Locale& locale) {
    static constexpr LocalizedText text{
        _T("Unable to install Norv\n\n")
        _T("The path to the install configuration file is not in plain text.\n")
        _T("Check that the path is correct."),
        _T("Norv kann nicht installiert werden\n\n")
        _T("Der Pfad zur Konfigurationsdatei für die Installation hat kein Nur-Text-Format.\n")
        _T("Stellen Sie sicher, dass der Pfad korrekt ist."),
        _T("Norvをインストールできません\n\n")
        _T("インストール構成ファイルへのパスがプレーン・テキストではありません。\n")
        _T("パスが正しいことを確認してください。"),
        _T("无法安装 Norv\n\n")
        _T("安装配置文件的路径并非纯文本格式。\n")
        _T("请检查该路径是否正确。")};
    return text.in(locale);
}

const TCHAR* msgMalformedLine(const Locale& locale) {
    static constexpr LocalizedText text{
        _T("Unable to install Norv\n\n")
        _T("Configuration file %s is malformed in line %s.\n")
        _T("Check data and formatting of the file."),
        _T("Norv kann nicht installiert werden\n\n")
        _T("Die Konfigurationsdatei %s hat in der Zeile %s ein falsches Format.\n")
        _T("Überprüfen Sie die Daten und die Formatierung der Datei."),
        _T("Norvをインストールできません\n\n")
        _T("構成ファイル%sの形式が行%sで不正です。\n")
        _T("データとファイルのフォーマットを確認してください。"),
        _T("无法安装 Norv\n\n")
        _T("配置文件 %s 在行 %s 中格式错误。\n")
        _T("请检查文件的数据和格式设置。")};
    return text.in(locale);
}

const TCHAR* msgNotPlainText(const Locale& locale) {
    static constexpr LocalizedText text{
        _T("Unable to install Norv\n\n")
        _T("Configuration file %s is not in plain text.\n")
        _T("Check formatting and try again."),
        _T("Norv kann nicht installiert werden\n\n")
        _T("Konfigurationsdatei %s hat kein Nur-Text-Format.\n")
        _T("Prüfen Sie die Formatierung, und wiederholen Sie den Vorgang."),
        _T("Norvをインストールできません\n\n")
        _T("構成ファイル%sがプレーン・テキストではありません。\n")
        _T("フォーマットを確認して再試行してください。"),
        _T("无法安装 Norv\n\n")
        _T("配置文件 %s 并非纯文本格式。\n")
        _T("请检查格式设置并重试。")};
    return text.in(locale);
}

const TCHAR* msgFileTooLong(const Locale& locale) {
    static constexpr LocalizedText text{
        _T("Unable to install Norv\n\n")
        _T("Configuration file %s is too long.\n")
        _T("Check that the file is correct."),
        _T("Norv kann nicht installiert werden\n\n")
        _T("Konfigurationsdatei %s ist zu lang.\n")
        _T("Stellen Sie sicher, dass die Datei korrekt ist."),
        _T("Norvをインストールできません\n\n")
        _T("構成ファイル%sが長すぎます。\n")
        _T("ファイルが正しいことを確認してください。"),
        _T("无法安装 Norv\n\n")
        _T("配置文件 %s 太长。\n")
        _T("请检查该文件是否正确。")};
    return text.in(locale);
}

const TCHAR* msgCannotOpen(const Locale& locale) {
    static constexpr LocalizedText text{
        _T("Unable to install Norv\n\n")
        _T("Unable to open file %s.\n")
        _T("Check that the configuration file exists and that the path to the file is correct."),
        _T("Norv kann nicht installiert werden\n\n")
        _T("Datei %s kann nicht geöffnet werden.\n")
        _T("Stellen Sie sicher, dass die Konfigurationsdatei vorhanden und der Pfad zur Datei ")
        _T("korrekt ist."),
        _T("Norvをインストールできません\n\n")
        _T("ファイル%sを開くことができません。\n")
        _T("構成ファイルが存在し、ファイルへのパスが正しいことを確認してください。"),
        _T("无法安装 Norv\n\n")
        _T("无法打开文件 %s。\n")
        _T("请检查配置文件是否存在并且文件的路径是否正确。")};
    return text.in(locale);
}

const TCHAR* msgNoPermission(const Locale& locale) {
    static constexpr LocalizedText text{
        _T("Unable to install Norv\n\n")
        _T("Cannot read configuration file %s due to invalid permissions.\n")
        _T("Check that you have sufficient permissions to read this file."),
        _T("Norv kann nicht installiert werden\n\n")
        _T("Konfigurationsdatei %s kann wegen ungültiger Berechtigungen nicht gelesen werden.\n")
        _T("Stellen Sie sicher, dass Sie über Leseberechtigungen für diese Datei verfügen."),
        _T("Norvをインストールできません\n\n")
        _T("権限が無効なため、構成ファイル%sを読み取れません。\n")
        _T("このファイルを読み取るための十分な権限があることを確認してください。"),
        _T("无法安装 Norv\n\n")
        _T("由于权限无效, 无法读取配置文件 %s。\n")
        _T("请检查您是否有足够的权限读取此文件。")};
    return text.in(locale);
}

const TCHAR* msgWriteFailed(const Locale& locale) {
    static constexpr LocalizedText text{
        _T("Unable to install Norv\n\n")
        _T("Writing to the runtime configuration file failed.\n")
        _T("Check permissions and settings."),
        _T("Norv kann nicht installiert werden\n\n")
        _T("In die Runtime-Konfigurationsdatei konnte nicht geschrieben werden.\n")
        _T("Prüfen Sie die Berechtigungen und Einstellungen."),
        _T("Norvをインストールできません\n\n")
        _T("ランタイム構成ファイルへの書込みに失敗しました。\n")
        _T("権限と設定を確認してください。"),
        _T("无法安装 Norv\n\n")
        _T("无法写入运行时配置文件。\n")
        _T("请检查权限和设置。")};
    return text.in(locale);
}

const TCHAR* msgReadError(const Locale& locale) {
    static constexpr LocalizedText text{
        _T("Unable to install Norv\n\n")
        _T("An error occurred while reading file %s.\n")
        _T("Check that the file is valid and that all settings are correct."),
        _T("Norv kann nicht installiert werden\n\n")
        _T("Beim Lesen der Datei %s ist ein Fehler aufgetreten.\n")
        _T("Stellen Sie sicher, dass die Datei gültig ist und alle Einstellungen korrekt sind."),
        _T("Norvをインストールできません\n\n")
        _T("ファイル%sの読取り中にエラーが発生しました。\n")
        _T("ファイルが有効で、すべての設定が正しいことを確認してください。"),
        _T("无法安装 Norv\n\n")
        _T("读取文件 %s 时出错。\n")
        _T("请检查文件是否有效并且所有设置是否正确。")};
    return text.in(locale);
}

const TCHAR* msgBadSwitches(const Locale& locale) {
    static constexpr LocalizedText text{
        _T("Unable to install Norv\n\n")
        _T("There are errors in the following switches:\n")
        _T("%s.\n\n")
        _T("Check that the commands are valid and try again."),
        _T("Norv kann nicht installiert werden\n\n")
        _T("In den folgenden Switches sind Fehler vorhanden:\n")
        _T("%s.\n\n")
        _T("Stellen Sie sicher, dass die Befehle gültig sind, und versuchen Sie es erneut."),
        _T("Norvをインストールできません\n\n")
        _T("次のスイッチにエラーがあります:\n")
        _T("%s。\n\n")
        _T("このコマンドが有効であることを確認し、再試行してください。"),
        _T("无法安装 Norv\n\n")
        _T("以下开关中存在错误:\n")
        _T("%s。\n\n")
        _T("请检查命令是否有效并重试。")};
    return text.in(locale);
}

const TCHAR* msgInternalError(const Locale& locale) {
    static constexpr LocalizedText text{
        _T("Unable to install Norv\n\n")
        _T("An internal error occurred.\n")
        _T("Check that configuration files are valid and that all settings are correct."),
        _T("Norv kann nicht installiert werden\n\n")
        _T("Ein interner Fehler ist aufgetreten.\n")
        _T("Stellen Sie sicher, dass die Konfigurationsdateien gültig und alle Einstellungen ")
        _T("korrekt sind."),
        _T("Norvをインストールできません\n\n")
        _T("内部エラーが発生しました。\n")
        _T("構成ファイルが有効で、すべての設定が正しいことを確認してください。"),
        _T("无法安装 Norv\n\n")
        _T("出现内部错误。\n")
        _T("请检查配置文件是否有效并且所有设置是否正确。")};
    return text.in(locale);
}

const TCHAR* msgTitle(const Locale& locale) {
    static constexpr LocalizedText text{
        _T("Norv Installation Not Completed"), _T("Norv-Installation nicht abgeschlossen"),
        _T("Norvのインストールが完了していません"), _T("Norv 安装未完成")};
    return text.in(locale);
}
