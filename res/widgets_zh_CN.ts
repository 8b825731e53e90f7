<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<!-- Corrections to Qt's own Chinese texts, laid over them as ":/widgets.qm". The program's texts are Chinese in the
     source already and never appear here: only contexts of Qt's classes do. -->
<TS version="2.1" language="zh_CN" sourcelanguage="en">
<context>
    <name>QLineEdit</name>
    <message>
        <source>&amp;Undo</source>
        <translation>撤销(&amp;U)</translation>
    </message>
</context>
<context>
    <name>QWidgetTextControl</name>
    <message>
        <source>&amp;Undo</source>
        <translation>撤销(&amp;U)</translation>
    </message>
</context>
<context>
    <name>QComboBox</name>
    <message>
        <source>Open the combo box selection popup</source>
        <translation>打开下拉列表</translation>
    </message>
</context>
</TS>
