#include "windows/installerdll/MenuTexts.h"

#include "windows/installerdll/WebSites.h"

namespace menu_texts {

const TCHAR* enableAssistLink(const Locale& locale) {
    static constexpr LocalizedText text{
        _T("Enable Norv Assist Link"), _T("Norv Assist Link aktivieren"),
        _T("Norv Assist Linkを有効にする"), _T("启用 Norv Assist Link")};
    return text.in(locale);
}

const TCHAR* assistLinkHint(const Locale& locale) {
    static constexpr LocalizedText text{
        _T("Norv Assist Link, from Dovrin, Inc. providing Assistive Technology access to Norv ")
        _T("applications. Note: You cannot disable Norv Assist Link through clearing this ")
        _T("checkbox. Run %NORV_HOME%\\bin\\alinkswitch -disable from a command prompt for ")
        _T("this."),
        _T("Norv Assist Link von Dovrin, Inc. stellt assistive Technologie für ")
        _T("Norv-Anwendungen bereit. Hinweis: Sie können Norv Assist Link mit diesem ")
        _T("Kontrollkästchen nicht deaktivieren. Geben Sie dazu an einer Eingabeaufforderung ")
        _T("folgenden Befehl ein: %NORV_HOME%\\bin\\alinkswitch -disable."),
        _T("Norvアプリケーションに対するアシスティブ・テクノロジ・アクセスを提供するドブリン社")
        _T("のNorv Assist Link。ノート: Norv Assist Linkは、このチェック・ボックスをクリアして")
        _T("も無効にはできません。無効にする場合は、コマンド・プロンプトから")
        _T("%NORV_HOME%\\bin\\alinkswitch -disableを実行してください。"),
        _T("来自 Dovrin, Inc. 的 Norv Assist Link 提供对 Norv 应用程序的辅助性技术访问。注：您")
        _T("无法通过清除此复选框来禁用 Norv Assist Link。要禁用它，请通过命令提示符运行 ")
        _T("%NORV_HOME%\\bin\\alinkswitch -disable。")};
    return text.in(locale);
}

const TCHAR* about(const Locale& locale) {
    static constexpr LocalizedText text{_T("About Norv"), _T("Info zu Norv"), _T("Norvについて"),
                                        _T("关于 Norv")};
    return text.in(locale);
}

const TCHAR* aboutHint(const Locale& locale) {
    static constexpr LocalizedText text{
        _T("View Norv version information."), _T("Versionsinformationen zu Norv anzeigen."),
        _T("Norvバージョン情報を表示します。"), _T("查看 Norv 版本信息。")};
    return text.in(locale);
}

const TCHAR* checkForUpdates(const Locale& locale) {
    static constexpr LocalizedText text{_T("Check For Updates"), _T("Auf Updates prüfen"),
                                        _T("更新の確認"), _T("检查更新")};
    return text.in(locale);
}

const TCHAR* checkForUpdatesHint(const Locale& locale) {
    static constexpr LocalizedText text{_T("See if new Norv updates are available."),
                                        _T("Prüfen Sie, ob neue Norv-Updates verfügbar sind."),
                                        _T("新規Norv更新があるかどうかを確認します。"),
                                        _T("查看是否有新 Norv 更新可用。")};
    return text.in(locale);
}

const TCHAR* configure(const Locale& locale) {
    static constexpr LocalizedText text{_T("Configure Norv"), _T("Norv konfigurieren"),
                                        _T("Norvの構成"), _T("配置 Norv")};
    return text.in(locale);
}

const TCHAR* configureHint(const Locale& locale) {
    static constexpr LocalizedText text{
        _T("View or change Norv settings."), _T("Norv-Einstellungen anzeigen oder ändern."),
        _T("Norvの設定を表示または変更します。"), _T("查看或更改 Norv 设置。")};
    return text.in(locale);
}

const TCHAR* getHelp(const Locale& locale) {
    static constexpr LocalizedText text{_T("Get Help"), _T("Hilfe aufrufen"), _T("ヘルプを表示"),
                                        _T("获取帮助")};
    return text.in(locale);
}

const TCHAR* getHelpHint(const Locale& locale) {
    static constexpr LocalizedText text{
        _T("Find solutions to issues related to installing and running Norv."),
        _T("Lösungen für Probleme bei der Installation und Ausführung von Norv."),
        _T("Norvのインストールおよび実行に関連する問題の解決策を検索します。"),
        _T("查找与安装和运行 Norv 相关的问题的解决方案。")};
    return text.in(locale);
}

const TCHAR* referenceDocs(const Locale& locale) {
    static constexpr LocalizedText text{_T("Reference Documentation"), _T("Referenzdokumentation"),
                                        _T("参照ドキュメント"), _T("参考文档")};
    return text.in(locale);
}

const TCHAR* referenceDocsHint(const Locale& locale) {
    static constexpr LocalizedText text{
        _T("View developer resources including online API documentation."),
        _T("Entwicklerressourcen einschließlich Online-API-Dokumentation anzeigen."),
        _T("オンラインAPIドキュメントを含む開発者リソースを表示します。"),
        _T("查看开发人员资源, 包括联机 API 文档。")};
    return text.in(locale);
}

const TCHAR* learnMore(const Locale& locale) {
    static constexpr LocalizedText text{
        _T("Learn more about Norv."), _T("Weitere Informationen zu Norv."),
        _T("Norvについてさらに学習します。"), _T("了解有关 Norv 的详细信息。")};
    return text.in(locale);
}

const TCHAR* visitSite(const Locale& locale) {
    static constexpr LocalizedText text{
        _T("Visit ") NORV_SITE_NAME_TEXT, _T("Besuchen Sie ") NORV_SITE_NAME_TEXT,
        NORV_SITE_NAME_TEXT _T("にアクセスします"), _T("访问 ") NORV_SITE_NAME_TEXT};
    return text.in(locale);
}

}  // namespace menu_texts
